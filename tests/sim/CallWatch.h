// SPDX-License-Identifier: MIT

// Looks at the calls on their way to the service, over the bus and over direct channels, because
// the service's list is not told who has sent what. Complains of one that could overtake another:
// sent over a channel while a call of the same partner over the bus is not answered.
//
// Lifetime: goes after the bus has heard the last call.

#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <utility>

#include "sim/PairEnd.h"
#include "sim/Service.h"
#include "sim/SimBus.h"

namespace sim {

class CallWatch {
public:
    CallWatch(SimBus& bus, ServiceList& list, Complain complain);
    CallWatch(const CallWatch&) = delete;
    CallWatch& operator=(const CallWatch&) = delete;

    // How many calls there were over channels.
    std::uint64_t OverChannels() const { return m_overChannels; }

private:
    struct Channel;

    void OnCall(const WireMessage& call, const std::shared_ptr<Stream>& to);
    void OnReply(const WireMessage& reply, const std::shared_ptr<Stream>& from);
    void Listen(PairEnd& end, const std::string& partner, const std::string& onBus);
    void OnBytes(Channel& channel, const std::string& bytes);
    void OnChannelCall(const Channel& channel, const WireMessage& call);

    ServiceList& m_list;
    const Complain m_complain;
    std::set<std::pair<std::string, std::uint32_t>>
        m_underWay;  // over the bus: where, and which serial
    std::uint64_t m_overChannels = 0;
};

}  // namespace sim
