// SPDX-License-Identifier: MIT

#include "applist/ServiceLimits.h"

namespace applist {

namespace {

ServiceLimits& TheLimits() {
    static ServiceLimits limits;
    return limits;
}

}  // namespace

void SetServiceLimits(const ServiceLimits& limits) {
    TheLimits() = limits;
}

ServiceLimits CurrentServiceLimits() {
    return TheLimits();
}

}  // namespace applist
