// SPDX-License-Identifier: MIT

#include "platform/Channels.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "bus/ChannelEnd.h"
#include "bus/TransportError.h"
#include "bus/TransportLimits.h"
#include "common/AppListLog.h"
#include "platform/Endpoint.h"
#include "platform/Wire.h"

namespace applist {

using logging::kDebug;
using Clock = std::chrono::steady_clock;

struct Channels::Channel {
    Channel(Channels& itsOwner, Endpoint& endpoint, const std::string& itsPartner)
        : owner(itsOwner),
          partner(itsPartner),
          wire(endpoint, itsPartner, [this](int) { owner.End(*this); }) {}

    ~Channel() { wire.Detach(); }

    bool IsUsed() const { return wire.IsConfirmed() && !hasLeft && !hasEnded; }

    // A signal of the library's own.
    int Hear(const char* member, sd_bus_message_handler_t callback, UniqueSlot& slot) {
        sd_bus_slot* made = nullptr;
        const int result =
            sd_bus_match_signal(bus.get(), &made, nullptr, "/org/freedesktop/DBus/Local",
                                "org.freedesktop.DBus.Local", member, callback, this);
        slot.reset(made);
        return result;
    }

    Channels& owner;
    const std::string partner;
    UniqueBus bus;
    UniqueSlot connected;
    UniqueSlot disconnected;
    UniqueSource timer;      // until the first call, and from when the partner has left
    UniqueSource firstRead;  // once, when it is up
    Wire wire;
    bool hasLeft = false;
    bool hasEnded = false;
};

namespace {

// What is still to be read goes nowhere: a call that comes now is not executed.
bool ReadsToTheEnd(int fd) {
    char rest[4096];
    for (;;) {
        const ssize_t size = recv(fd, rest, sizeof(rest), MSG_DONTWAIT);
        if (size > 0 || (size < 0 && errno == EINTR)) continue;
        return size == 0 || errno != EAGAIN;
    }
}

// Waits until all have been closed by their other ends.
void AwaitEndsOf(std::vector<pollfd> open, Clock::time_point deadline) {
    while (!open.empty()) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        if (left.count() <= 0) return;
        if (poll(open.data(), open.size(), static_cast<int>(left.count())) <= 0) continue;
        open.erase(std::remove_if(
                       open.begin(), open.end(),
                       [](const pollfd& one) { return one.revents != 0 && ReadsToTheEnd(one.fd); }),
                   open.end());
    }
}

}  // namespace

Channels::Channels(Endpoint& endpoint)
    : m_endpoint(endpoint),
      m_partners(transport_limits::kMaxChannels,
                 [this](const std::string& partner) { Left(partner); }) {}

Channels::~Channels() = default;

int Channels::Attach(sd_bus* bus, sd_event* event) {
    m_event = event;
    int result = m_sweep ? 0 : MakeSweep();
    if (result >= 0 && !m_partners.Follow(bus)) result = -ENOMEM;
    return result;
}

int Channels::MakeSweep() {
    sd_event_source* source = nullptr;
    int result = sd_event_add_defer(m_event, &source, OnSweep, this);
    UniqueSource sweep(source);
    if (result >= 0) result = sd_event_source_set_enabled(source, SD_EVENT_OFF);
    if (result >= 0) result = sd_event_source_set_priority(source, SD_EVENT_PRIORITY_IMPORTANT);
    if (result >= 0) m_sweep = std::move(sweep);
    return result;
}

OwnedFd Channels::Open(const std::string& partner) {
    Forget(partner);
    if (m_channels.size() >= m_endpoint.Limits().channels) return OwnedFd(-ENOSPC);
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends) != 0) {
        return OwnedFd(-errno);
    }
    OwnedFd ours(ends[0]);
    OwnedFd theirs(ends[1]);
    auto channel = std::make_unique<Channel>(*this, m_endpoint, partner);
    int result = SetUp(*channel, std::move(ours));
    if (result < 0) return OwnedFd(result);
    if (m_partners.Add(partner) != PartnerTracker::Outcome::Tracked) {
        return OwnedFd(-ENOTRECOVERABLE);
    }
    m_channels.emplace(partner, std::move(channel));
    return theirs;
}

void Channels::Forget(const std::string& partner) {
    m_partners.Remove(partner);
    m_channels.erase(partner);
}

int Channels::SetUp(Channel& channel, OwnedFd end) {
    try {
        channel.bus = OpenServiceEnd(std::move(end));
    } catch (const TransportError& error) {
        APPLIST_LOG(kDebug, "%s: %s", channel.partner.c_str(), error.what());
        return -ENOMEM;
    }
    int result = channel.Hear("Connected", OnConnected, channel.connected);
    if (result >= 0) result = channel.Hear("Disconnected", OnDisconnected, channel.disconnected);
    sd_event_source* source = nullptr;
    if (result >= 0) result = sd_event_add_defer(m_event, &source, OnFirstRead, &channel);
    channel.firstRead.reset(source);
    if (result >= 0) result = sd_event_source_set_enabled(source, SD_EVENT_OFF);
    sd_event_source* timer = nullptr;
    if (result >= 0) {
        result = sd_event_add_time_relative(
            m_event, &timer, CLOCK_MONOTONIC,
            static_cast<std::uint64_t>(transport_limits::kChannelConfirmation.count()),
            /* accuracy, the default */ 0, OnTimeIsUp, &channel);
    }
    channel.timer.reset(timer);
    if (result >= 0) result = channel.wire.Attach(channel.bus.get(), m_event);
    return result;
}

void Channels::Confirm(const std::string& partner) {
    Channel& channel = *m_channels.at(partner);
    if (channel.wire.IsConfirmed()) return;
    channel.wire.Confirm();
    sd_event_source_set_enabled(channel.timer.get(), SD_EVENT_OFF);
}

// It can send nothing more, and what it has sent is read up to the end. What would be answered goes
// nowhere: without a reader it would end the connection before the rest is read.
void Channels::Left(const std::string& partner) {
    const auto found = m_channels.find(partner);
    if (found == m_channels.end()) return;
    Channel& channel = *found->second;
    if (!channel.IsUsed()) return End(channel);
    channel.hasLeft = true;
    channel.wire.Out().Mute();
    // What has gone to the library already would have to be read first.
    if (channel.wire.Out().Stalled()) return End(channel);
    shutdown(sd_bus_get_fd(channel.bus.get()), SHUT_RD);
    const auto time = static_cast<std::uint64_t>(transport_limits::kChannelFarewell.count());
    int result = sd_event_source_set_time_relative(channel.timer.get(), time);
    if (result >= 0) {
        result = sd_event_source_set_enabled(channel.timer.get(), SD_EVENT_ONESHOT);
    }
    if (result < 0) End(channel);
}

Wire* Channels::WireOf(const std::string& partner) const {
    const auto found = m_channels.find(partner);
    if (found == m_channels.end() || !found->second->IsUsed()) return nullptr;
    return &found->second->wire;
}

void Channels::ForEach(const std::function<void(Wire&)>& work) const {
    for (const auto& [partner, channel] : m_channels) {
        if (channel->IsUsed()) work(channel->wire);
    }
}

void Channels::CloseAll() {
    m_partners.RemoveAll();
    m_channels.clear();
}

void Channels::SendLast(Clock::time_point deadline) {
    for (const auto& [partner, channel] : m_channels) channel->wire.StopServing();
    // Each has its share of the time: one that is not read leaves the others theirs.
    auto left = static_cast<Clock::rep>(m_channels.size());
    for (const auto& [partner, channel] : m_channels) {
        const Clock::time_point now = Clock::now();
        channel->wire.SendLast(now + (deadline - now) / left--);
    }
}

// A reply that lies in the socket would be lost if the partner, which does not know yet, writes
// after we have closed it: so only our direction is shut down, and the partner is the first to
// close.
void Channels::AwaitEnds(Clock::time_point deadline) {
    std::vector<pollfd> open;
    for (const auto& [partner, channel] : m_channels) {
        const int fd = sd_bus_get_fd(channel->bus.get());
        if (fd >= 0 && shutdown(fd, SHUT_WR) == 0) open.push_back({fd, POLLIN, 0});
    }
    AwaitEndsOf(std::move(open), deadline);
}

int Channels::OnTimeIsUp(sd_event_source*, std::uint64_t, void* userdata) {
    Channel& channel = *static_cast<Channel*>(userdata);
    channel.owner.End(channel);
    return 0;
}

int Channels::OnConnected(sd_bus_message*, void* userdata, sd_bus_error*) {
    const Channel& channel = *static_cast<Channel*>(userdata);
    sd_event_source_set_enabled(channel.firstRead.get(), SD_EVENT_ONESHOT);
    return 0;
}

// The library may have read the first calls together with the end of the handshake. It would look
// at them when more comes in, and a partner that waits for its answer sends no more.
int Channels::OnFirstRead(sd_event_source*, void* userdata) {
    Channel& channel = *static_cast<Channel*>(userdata);
    int result = 1;
    for (std::size_t count = 0; count < transport_limits::kReadAhead && result > 0; ++count) {
        if (channel.hasEnded || channel.wire.Out().Stalled()) return 0;
        result = sd_bus_process(channel.bus.get(), nullptr);
    }
    if (result < 0) channel.owner.End(channel);
    return 0;
}

int Channels::OnDisconnected(sd_bus_message*, void* userdata, sd_bus_error*) {
    Channel& channel = *static_cast<Channel*>(userdata);
    channel.owner.End(channel);
    return 0;
}

void Channels::End(Channel& channel) {
    channel.hasEnded = true;
    channel.wire.Detach();
    sd_event_source_set_enabled(m_sweep.get(), SD_EVENT_ONESHOT);
}

int Channels::OnSweep(sd_event_source*, void* userdata) {
    Channels* const self = static_cast<Channels*>(userdata);
    Guarded("removing channels", [self] { self->Sweep(); });
    return 0;
}

void Channels::Sweep() {
    for (auto at = m_channels.begin(); at != m_channels.end();) {
        const auto one = at++;
        if (!one->second->hasEnded) continue;
        const std::string partner = one->first;
        Forget(partner);
        m_endpoint.ChannelEnded(partner);
    }
}

}  // namespace applist
