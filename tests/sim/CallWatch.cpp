// SPDX-License-Identifier: MIT

#include "sim/CallWatch.h"

#include <algorithm>

#include "bus/EndpointNames.h"
#include "sim/FileTable.h"

namespace sim {

namespace {

std::string ConnectionOnBus(const std::string& partner, const Stream& service) {
    return std::to_string(service.Id()) + partner;
}

// What has an order.
bool IsMessage(const WireMessage& call) {
    return call.interface == applist::endpoint_names::kInterface &&
           call.member.find("Message") == 0;
}

}  // namespace

// What a partner has written to its channel.
struct CallWatch::Channel {
    std::string partner;
    std::string onBus;  // the connection over which it came
    std::string name;
    std::weak_ptr<PairEnd> service;
    std::string unread = std::string();
    bool hasBegun = false;  // the handshake is over
};

CallWatch::CallWatch(SimBus& bus, ServiceList& list, Complain complain)
    : m_list(list), m_complain(std::move(complain)) {
    bus.m_onCall = [this](const WireMessage& call, const std::shared_ptr<Stream>& to) {
        OnCall(call, to);
    };
    bus.m_onReply = [this](const WireMessage& reply, const std::shared_ptr<Stream>& from) {
        OnReply(reply, from);
    };
}

void CallWatch::OnCall(const WireMessage& call, const std::shared_ptr<Stream>& to) {
    const std::string connection = ConnectionOnBus(call.sender, *to);
    if (IsMessage(call) && call.WantsReply()) m_underWay.insert({connection, call.serial});
    m_list.Expect(call, {connection, [to] { return to->IsOpenHere(); }});
}

void CallWatch::OnReply(const WireMessage& reply, const std::shared_ptr<Stream>& from) {
    const std::string connection = ConnectionOnBus(reply.destination, *from);
    m_underWay.erase({connection, reply.replySerial});
    for (const int fd : reply.fds.All()) {
        const File* const file = FileOf(fd);
        if (file == nullptr) continue;
        const auto end = std::dynamic_pointer_cast<PairEnd>(file->socket);
        if (end) Listen(*end, reply.destination, connection);
    }
}

void CallWatch::Listen(PairEnd& end, const std::string& partner, const std::string& onBus) {
    const std::string name = onBus + " channel " + std::to_string(end.Id());
    const auto channel = std::make_shared<Channel>(Channel{partner, onBus, name, end.Other()});
    end.m_onWrite = [this, channel](const std::string& bytes) { OnBytes(*channel, bytes); };
}

void CallWatch::OnBytes(Channel& channel, const std::string& bytes) {
    static const std::string kBegin = "BEGIN\r\n";
    channel.unread += bytes;
    if (!channel.hasBegun) {
        const std::size_t at = channel.unread.find(kBegin);
        if (at == std::string::npos) return;
        channel.unread.erase(0, at + kBegin.size());
        channel.hasBegun = true;
    }
    for (std::size_t size = 0; (size = SizeOfFirst(channel.unread)) != 0;) {
        WireMessage message;
        const bool isGood = Parse(channel.unread, size, message);
        channel.unread.erase(0, size);
        if (!isGood) return m_complain("a partner writes nonsense to its channel");
        if (message.type == MessageType::Call) OnChannelCall(channel, message);
    }
}

void CallWatch::OnChannelCall(const Channel& channel, const WireMessage& call) {
    ++m_overChannels;
    m_list.Expect(call, {channel.name, [service = channel.service] {
                             const std::shared_ptr<PairEnd> end = service.lock();
                             return end && end->IsOpen();
                         }});
    if (!IsMessage(call)) return;
    const auto before = m_underWay.lower_bound({channel.onBus, 0});
    if (before == m_underWay.end() || before->first != channel.onBus) return;
    m_complain(channel.partner + " calls over its channel while a call over the bus is under way");
}

}  // namespace sim
