// SPDX-License-Identifier: MIT

#include "Client.h"

#include <fcntl.h>

#include <cerrno>
#include <utility>

#include "bus/ChannelEnd.h"
#include "bus/EndpointNames.h"

using applist::OpenPartnerEnd;
using applist::OwnedFd;
using applist::UniqueMessage;
namespace endpoint_names = applist::endpoint_names;

namespace bench {

namespace {

constexpr std::uint64_t kCallTimeoutMicroseconds = 5000000;

}  // namespace

Client::Client(const std::string& address, const std::string& endpoint)
    : m_endpoint(endpoint), m_bus(OpenBus(address)) {}

Client::Client(OwnedFd socket, const std::string& endpoint)
    : m_endpoint(endpoint), m_direct(OpenPartnerEnd(std::move(socket))) {}

void Client::TakeChannel() {
    const UniqueMessage answer = Send(NewCall(endpoint_names::kChannel));
    int fd = -1;  // belongs to the message
    Check(sd_bus_message_read(answer.get(), "h", &fd));
    const int copy = fcntl(fd, F_DUPFD_CLOEXEC, 0);
    m_direct = OpenPartnerEnd(OwnedFd(Check(copy < 0 ? -errno : copy)));
    Send(NewCall("Connect"));
}

UniqueMessage Client::NewCall(const char* member) const {
    const std::string service = endpoint_names::BusNameOf(m_endpoint);
    sd_bus_message* made = nullptr;
    Check(sd_bus_message_new_method_call(Way(), &made, m_direct ? nullptr : service.c_str(),
                                         endpoint_names::PathOf(m_endpoint).c_str(),
                                         endpoint_names::kInterface, member));
    return UniqueMessage(made);
}

UniqueMessage Client::Send(const UniqueMessage& call) const {
    sd_bus_message* reply = nullptr;
    Check(sd_bus_call(Way(), call.get(), kCallTimeoutMicroseconds, nullptr, &reply));
    return UniqueMessage(reply);
}

}  // namespace bench
