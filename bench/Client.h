// SPDX-License-Identifier: MIT

// A partner as small as one can be: one call at a time, over bare sd-bus.
//
// Threads: one. Lifetime: what `Use` is passed lives for the call.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "BareBus.h"
#include "bus/OwnedFd.h"

namespace bench {

class Client {
public:
    // Calls `endpoint` over the bus at `address`. Throws std::runtime_error, as all of it does.
    Client(const std::string& address, const std::string& endpoint);
    // Calls `endpoint` over `socket`, whose other end is the service's.
    Client(applist::OwnedFd socket, const std::string& endpoint);

    // Calls over a direct channel from now on, which it asks the service for.
    void TakeChannel();

    // Calls `function`, and passes `use` the bytes of the reply.
    template <class Use>
    void Call(std::int32_t function, Use&& use) {
        const applist::UniqueMessage call = NewCall("Message");
        Check(sd_bus_message_append_array(call.get(), 'y', &function, sizeof(function)));
        const applist::UniqueMessage reply = Send(call);
        const void* bytes = nullptr;
        std::size_t size = 0;
        Check(sd_bus_message_read_array(reply.get(), 'y', &bytes, &size));
        use(static_cast<const char*>(bytes), size);
    }

private:
    sd_bus* Way() const { return m_direct ? m_direct.get() : m_bus.get(); }
    applist::UniqueMessage NewCall(const char* member) const;
    applist::UniqueMessage Send(const applist::UniqueMessage& call) const;

    std::string m_endpoint;
    applist::UniqueBus m_bus;  // beside a channel, too: whoever leaves the bus loses that
    applist::UniqueBus m_direct;
};

}  // namespace bench
