// SPDX-License-Identifier: MIT

#include "bus/TransportLimits.h"

#include <stdexcept>

#include "common/Joined.h"

namespace applist {

namespace {

TransportLimits& TheLimits() {
    static TransportLimits limits;
    return limits;
}

void Check(const char* what, std::size_t value, std::size_t least, std::size_t most) {
    if (value >= least && value <= most) return;
    throw std::invalid_argument(
        Joined({"TransportLimits::", what, " is ", Decimal(value), "; set it to a value between ",
                Decimal(least), " and ", Decimal(most)}));
}

}  // namespace

void CheckTransportLimits(const TransportLimits& limits) {
    using namespace transport_limits;
    Check("fdBytes", limits.fdBytes, 1, PTRDIFF_MAX);  // no vector holds more
    Check("partners", limits.partners, 1, kMostPartners);
    // Not less than the constant: our own partner keeps that much under way without asking.
    Check("heldBytes", limits.heldBytes, kMaxHeldBytes, PTRDIFF_MAX);
    Check("heldSenders", limits.heldSenders, 1, kMostPartners);
    Check("requestBytes", limits.requestBytes, 1, PTRDIFF_MAX);
    Check("fdRequestBytes", limits.fdRequestBytes, 1, PTRDIFF_MAX);
    Check("channels", limits.channels, 0, kMaxChannels);
}

void SetTransportLimits(const TransportLimits& limits) {
    CheckTransportLimits(limits);
    TheLimits() = limits;
}

TransportLimits CurrentTransportLimits() {
    return TheLimits();
}

}  // namespace applist
