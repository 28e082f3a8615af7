// SPDX-License-Identifier: MIT

#include "remote/Way.h"

#include "bus/EndpointNames.h"

namespace applist {

int Way::NewCall(UniqueMessage& message, const std::string& endpoint, const char* interface,
                 const char* member) const {
    sd_bus_message* made = nullptr;
    const int result =
        sd_bus_message_new_method_call(connection, &made, IsDirect() ? nullptr : service.c_str(),
                                       endpoint_names::PathOf(endpoint).c_str(), interface, member);
    message.reset(made);
    return result;
}

}  // namespace applist
