// SPDX-License-Identifier: MIT

#include "remote/ServiceChannel.h"

#include <fcntl.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <utility>

#include "bus/ChannelEnd.h"
#include "bus/EndpointNames.h"
#include "bus/TransportError.h"
#include "common/AppListLog.h"
#include "remote/BusCallback.h"
#include "remote/RemoteLimits.h"

namespace applist {

using logging::kDebug;
using logging::kInfo;

namespace {

constexpr std::uint64_t kTimerAccuracy = 1000;  // microseconds

OwnedFd CopyOf(int fd) {
    return OwnedFd(fcntl(fd, F_DUPFD_CLOEXEC, 3));
}

// Whether a descriptor could come in and be copied. With none left for what comes in, the bus
// library gives up the whole connection to the bus. Returns 0 or a negative errno.
int FindRoomForSocket(int any) {
    const OwnedFd itself = CopyOf(any);
    const OwnedFd copy = CopyOf(any);
    return itself.Get() < 0 || copy.Get() < 0 ? -errno : 0;
}

}  // namespace

ServiceChannel::ServiceChannel(const RemoteErrors& errors, sd_event* loop, User& user)
    : m_errors(errors), m_loop(loop), m_user(user) {}

ServiceChannel::~ServiceChannel() = default;

// ---- Opening ------------------------------------------------------------------------------------

int ServiceChannel::Ask(const Way& bus, Time deadline) {
    m_bus = bus;
    UniqueMessage message;
    int result = sd_bus_can_send(bus.connection, SD_BUS_TYPE_UNIX_FD);
    if (result == 0) result = -EOPNOTSUPP;
    if (result >= 0) result = FindRoomForSocket(sd_bus_get_fd(bus.connection));
    if (result < 0) LogNone(kInfo, std::strerror(-result));
    if (result >= 0)
        result = m_bus.NewCall(message, m_errors.Endpoint(), endpoint_names::kInterface,
                               endpoint_names::kChannel);
    sd_bus_slot* slot = nullptr;
    if (result >= 0) {
        result = sd_bus_call_async(m_bus.connection, &slot, message.get(),
                                   kOnReply<ServiceChannel, &ServiceChannel::OnAnswer>, this, 0);
    }
    m_answer.reset(slot);
    m_due = deadline;
    if (result >= 0) result = SetTimer();
    if (result < 0) {
        Shut();
        return result;
    }
    m_state = State::Asked;
    return 0;
}

// Behind everything that has arrived: a program that was busy for the second must not find that its
// time is up while the answer lies there.
int ServiceChannel::SetTimer() {
    sd_event_source* source = nullptr;
    const int result =
        sd_event_add_time(m_loop, &source, CLOCK_MONOTONIC,
                          static_cast<std::uint64_t>(m_due.count()), kTimerAccuracy, OnTime, this);
    m_timer.reset(source);
    return result < 0 ? result : sd_event_source_set_priority(source, SD_EVENT_PRIORITY_NORMAL + 1);
}

int ServiceChannel::OnTime(sd_event_source*, std::uint64_t now, void* userdata) {
    ServiceChannel* const self = static_cast<ServiceChannel*>(userdata);
    const std::shared_ptr<void> alive = self->KeepAlive();
    Guarded("opening a channel", [&] { self->CatchUp(Time(now)); });
    return 0;
}

void ServiceChannel::OnAnswer(sd_bus_message* answer) {
    m_answer.reset();
    if (!m_bus.IsAnswer(answer)) return Fail(kInfo, "a stranger has answered");
    const sd_bus_error* const error = sd_bus_message_get_error(answer);
    if (error != nullptr) {
        // An older service knows nothing of channels.
        const bool isOlder = sd_bus_error_has_name(error, SD_BUS_ERROR_UNKNOWN_METHOD) > 0;
        return Fail(isOlder ? kDebug : kInfo, TextOf(*error));
    }
    int fd = -1;  // belongs to the message
    if (sd_bus_message_has_signature(answer, "h") <= 0 ||
        sd_bus_message_read(answer, "h", &fd) < 0) {
        return Fail(kInfo, "the answer was not understood");
    }
    OwnedFd socket = CopyOf(fd);
    if (socket.Get() < 0) return Fail(kInfo, std::strerror(errno));
    Open(std::move(socket));
}

void ServiceChannel::Open(OwnedFd socket) {
    try {
        m_connection = OpenPartnerEnd(std::move(socket));
    } catch (const TransportError& error) {
        return Fail(kInfo, error.what());
    }
    int result = SetUp();
    if (result >= 0) result = AskToConnect();
    if (result < 0) return Fail(kInfo, std::strerror(-result));
    m_state = State::Open;
}

int ServiceChannel::SetUp() {
    sd_bus* const channel = m_connection.get();
    // As on the bus: the session ends overdue calls by its own clock.
    int result = sd_bus_set_method_call_timeout(
        channel, static_cast<std::uint64_t>(remote_limits::kCompareTimeout.count()));
    sd_bus_slot* slot = nullptr;
    if (result >= 0) {
        result = sd_bus_match_signal(
            channel, &slot, nullptr, "/org/freedesktop/DBus/Local", "org.freedesktop.DBus.Local",
            "Disconnected", kOnSignal<ServiceChannel, &ServiceChannel::OnDisconnected>, this);
        m_disconnected.reset(std::exchange(slot, nullptr));
    }
    if (result >= 0) result = sd_bus_add_filter(channel, &slot, OnIncoming, this);
    m_incoming.reset(slot);
    return result < 0 ? result : sd_bus_attach_event(channel, m_loop, SD_EVENT_PRIORITY_NORMAL);
}

int ServiceChannel::AskToConnect() {
    UniqueMessage message;
    int result =
        GetWay().NewCall(message, m_errors.Endpoint(), endpoint_names::kInterface, "Connect");
    sd_bus_slot* slot = nullptr;
    if (result >= 0) {
        result = sd_bus_call_async(m_connection.get(), &slot, message.get(),
                                   kOnReply<ServiceChannel, &ServiceChannel::OnConnected>, this, 0);
    }
    m_answer.reset(slot);
    return result;
}

void ServiceChannel::OnConnected(sd_bus_message* answer) {
    m_answer.reset();
    const sd_bus_error* const refusal = sd_bus_message_get_error(answer);
    std::optional<std::string> noPlace;
    if (refusal != nullptr) {
        if (sd_bus_error_has_name(refusal, SD_BUS_ERROR_LIMITS_EXCEEDED) <= 0) {
            return Fail(kInfo, TextOf(*refusal));
        }
        noPlace = TextOf(*refusal);
    }
    m_state = State::Confirmed;
    m_due = Time::max();
    m_timer.reset();
    m_isPaused = true;
    sd_bus_detach_event(m_connection.get());
    m_user.OnChannelConfirmed(noPlace);
}

int ServiceChannel::Resume() {
    m_isPaused = false;
    return sd_bus_attach_event(m_connection.get(), m_loop, SD_EVENT_PRIORITY_NORMAL);
}

void ServiceChannel::CatchUp(Time now) {
    if (now >= m_due) Fail(kInfo, "the service takes too long");
}

// ---- The end ------------------------------------------------------------------------------------

bool ServiceChannel::Process() {
    if (!m_connection || m_state == State::Off || m_isPaused) return false;
    const int result = sd_bus_process(m_connection.get(), nullptr);
    if (result < 0) Fail(kInfo, std::strerror(-result));
    return result != 0;
}

void ServiceChannel::OnDisconnected(sd_bus_message*) {
    if (m_state != State::Ending) Fail(kInfo, "the service has closed it");
}

// The library answers calls by itself. A service that makes some, and does not read the answers,
// must not have them pile up here.
int ServiceChannel::OnIncoming(sd_bus_message* message, void* userdata, sd_bus_error*) {
    ServiceChannel* const self = static_cast<ServiceChannel*>(userdata);
    std::uint64_t queued = 0;
    if (sd_bus_message_is_method_call(message, nullptr, nullptr) <= 0 ||
        sd_bus_get_n_queued_write(self->m_connection.get(), &queued) < 0 ||
        queued < remote_limits::kMaxQueuedMessages) {
        return 0;
    }
    const std::shared_ptr<void> alive = self->KeepAlive();
    Guarded("giving up a channel",
            [self] { self->Fail(kInfo, "the service calls, and does not read what is answered"); });
    return 1;
}

void ServiceChannel::Failed() {
    Guarded("giving up a channel", [this] { Fail(kInfo, "it could not be served"); });
}

void ServiceChannel::GiveUp(const char* why) {
    Fail(kInfo, why);
}

void ServiceChannel::Fail(int priority, const char* why) {
    const State before = std::exchange(m_state, State::Off);
    Shut();
    if (before == State::Off || before == State::Ending) return;
    // With the bus gone, nothing goes on over it.
    if (sd_bus_is_open(m_bus.connection) <= 0) return;
    LogNone(priority, why);
    m_user.OnChannelEnded();
}

void ServiceChannel::LogNone(int priority, const char* why) const {
    APPLIST_LOG(priority, "%s: no direct channel to the service, so it is called over the bus: %s",
                m_errors.Endpoint().c_str(), why);
}

void ServiceChannel::Shut() {
    m_isPaused = false;
    m_due = Time::max();
    m_timer.reset();
    m_answer.reset();
    m_disconnected.reset();
    m_incoming.reset();
    if (m_connection) sd_bus_close(m_connection.get());
}

void ServiceChannel::Close() {
    m_state = State::Off;
    Shut();
    m_connection.reset();
    m_bus = Way();
}

void ServiceChannel::ReadToEnd(Time deadline) {
    if (m_state != State::Confirmed) return;
    m_state = State::Ending;
    const auto now = [] {
        return std::chrono::duration_cast<Time>(
            std::chrono::steady_clock::now().time_since_epoch());
    };
    // What is handled may close the channel.
    while (m_connection && sd_bus_process(m_connection.get(), nullptr) > 0 && now() < deadline) {
    }
}

}  // namespace applist
