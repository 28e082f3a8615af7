// SPDX-License-Identifier: MIT

#include "bus/Outbox.h"

#include <poll.h>
#include <sys/epoll.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "bus/ChannelEnd.h"
#include "bus/EndpointNames.h"
#include "bus/TransportLimits.h"
#include "common/AppListLog.h"

namespace applist {

using logging::kDebug;
using logging::kError;
using transport_limits::kMaxLibraryMessages;
using transport_limits::kMaxWaitingBytes;

Outbox::Outbox(std::string path, BusProbe& probe, std::function<void()> onDrained,
               std::function<void(int error)> onFailed)
    : m_path(std::move(path)),
      m_probe(probe),
      m_onDrained(std::move(onDrained)),
      m_onFailed(std::move(onFailed)) {}

int Outbox::Attach(sd_bus* bus, sd_event* event) {
    m_bus = bus;
    m_event = event;
    sd_bus_slot* slot = nullptr;
    int result = sd_bus_add_filter(bus, &slot, OnIncoming, this);
    m_incoming.reset(slot);
    if (result < 0) return result;
    // Made now, since nothing may be left to make it of when it is needed.
    sd_event_source* source = nullptr;
    result = sd_event_add_defer(event, &source, OnFailure, this);
    m_failure.reset(source);
    if (result >= 0) result = sd_event_source_set_enabled(source, SD_EVENT_OFF);
    if (result >= 0) result = sd_event_source_set_priority(source, SD_EVENT_PRIORITY_IMPORTANT);
    if (result < 0) return result;
    return sd_bus_attach_event(bus, event, SD_EVENT_PRIORITY_NORMAL);
}

void Outbox::Detach() {
    if (m_bus == nullptr) return;
    // Either the gate is on the loop or the connection is, never both: see AwaitDrain.
    if (m_gate) {
        m_gate.reset();
    } else {
        sd_bus_detach_event(m_bus);
    }
    m_incoming.reset();
    m_failure.reset();
    m_queue.Clear();
    m_waitingReply.reset();
    m_bytesInLibrary = 0;
    m_fds = 0;
    m_fdBytes = 0;
    m_isMute = false;
    m_hasLost = false;
    m_bus = nullptr;
}

void Outbox::Notify(Notification notification) {
    if (m_bus == nullptr || m_isMute) return;
    if (m_queue.Empty() && !m_waitingReply && LibraryHasRoom(notification.Bytes())) {
        Transmit(notification);
    } else if (!m_queue.Push(std::move(notification)) && !std::exchange(m_hasLost, true)) {
        // Once for each stall: a log line for every lost notification would make it worse.
        APPLIST_LOG(kError, "%s takes nothing more: the oldest notifications are dropped",
                    sd_bus_is_bus_client(m_bus) > 0 ? "the bus" : "a partner's channel");
    }
    if (InLibrary() > 0) AwaitDrain();
}

void Outbox::LoseOne() {
    if (m_bus == nullptr || m_isMute) return;
    m_hasLost = true;
    // Said once for as many as there are until what waits has left.
    if (InLibrary() == 0) Pump();
    if (InLibrary() > 0) AwaitDrain();
}

void Outbox::Mute() {
    m_isMute = true;
    m_queue.Clear();
    m_waitingReply.reset();
    m_hasLost = false;
    m_fds = 0;
    m_fdBytes = 0;
    GoOn();
}

void Outbox::Reply(UniqueMessage reply) {
    if (m_bus == nullptr || m_isMute) return;
    if (m_queue.Empty()) {
        TransmitReply(std::move(reply));
    } else {
        m_waitingReply = std::move(reply);
    }
    if (InLibrary() > 0) AwaitDrain();
}

void Outbox::ReplyWithFd(UniqueMessage reply, std::size_t bytes) {
    if (m_bus == nullptr || m_isMute) return;
    // A bus does not tell what was read.
    if (sd_bus_is_bus_client(m_bus) > 0) return Reply(std::move(reply));
    if (UnreadOf(m_bus) == 0) m_fds = m_fdBytes = 0;
    ++m_fds;
    m_fdBytes += bytes;
    Reply(std::move(reply));
}

// Past the queue on purpose: the answer says that nothing was executed, so there is no order to
// keep, and waiting here would be one more thing that a flood makes us hold.
void Outbox::Refuse(UniqueMessage answer) {
    if (m_bus == nullptr || m_isMute) return;
    TransmitReply(std::move(answer));
    if (InLibrary() > 0) AwaitDrain();
}

bool Outbox::Stalled() const {
    return m_bus != nullptr &&
           (!m_queue.Empty() || m_waitingReply || InLibrary() > 0 || HasMuchUnread());
}

bool Outbox::HasMuchUnread() const {
    return (m_fds >= transport_limits::kMaxUnreadFds ||
            m_fdBytes >= transport_limits::kMaxUnreadFdBytes) &&
           UnreadOf(m_bus) > 0;
}

void Outbox::Flush(std::chrono::microseconds timeout) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point deadline = Clock::now() + timeout;
    // What lies in the socket has left.
    while (!m_queue.Empty() || m_waitingReply || InLibrary() > 0) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
        struct pollfd writable = {sd_bus_get_fd(m_bus), POLLOUT, 0};
        if (left.count() <= 0 || writable.fd < 0) return;
        // Woken by a signal or too early: the deadline above ends the loop.
        if (poll(&writable, 1, static_cast<int>(left.count())) <= 0) continue;
        if (sd_bus_process(m_bus, nullptr) < 0 || sd_bus_is_open(m_bus) <= 0) return;
        Pump();
    }
}

bool Outbox::HasInput() const {
    std::uint64_t queued = 0;
    if (m_bus == nullptr) return false;
    if (sd_bus_get_n_queued_read(m_bus, &queued) >= 0 && queued > 0) return true;
    struct pollfd readable = {sd_bus_get_fd(m_bus), POLLIN, 0};
    return readable.fd >= 0 && poll(&readable, 1, 0) > 0;
}

bool Outbox::ReadOne() {
    const int result = sd_bus_process(m_bus, nullptr);
    if (result < 0 && m_bus != nullptr) FailSoon(result);
    return result > 0;
}

std::uint64_t Outbox::InLibrary() const {
    std::uint64_t count = 0;
    return sd_bus_get_n_queued_write(m_bus, &count) < 0 ? 0 : count;
}

bool Outbox::LibraryHasRoom(std::size_t bytes) {
    const std::uint64_t count = InLibrary();
    // An idle bus takes anything that fits a message: most of it leaves at once.
    if (count == 0) {
        m_bytesInLibrary = 0;
        return true;
    }
    return count < kMaxLibraryMessages && bytes <= kMaxWaitingBytes &&
           m_bytesInLibrary <= kMaxWaitingBytes - bytes;
}

int Outbox::NewSignal(UniqueMessage& signal, const char* member) const {
    sd_bus_message* made = nullptr;
    const int result =
        sd_bus_message_new_signal(m_bus, &made, m_path.c_str(), endpoint_names::kInterface, member);
    signal.reset(made);
    return result;
}

void Outbox::Transmit(const Notification& notification) {
    UniqueMessage message;
    int result = NewSignal(message, endpoint_names::kNotification);
    if (result >= 0 && !notification.partner.empty()) {
        result = sd_bus_message_set_destination(message.get(), notification.partner.c_str());
    }
    if (result >= 0) {
        result = sd_bus_message_append_array(message.get(), 'y', notification.body.data(),
                                             notification.body.size());
    }
    if (result >= 0) result = sd_bus_send(m_bus, message.get(), nullptr);
    m_probe.Sent();
    if (result >= 0) {
        m_bytesInLibrary += notification.Bytes();
        return;
    }
    APPLIST_LOG(PriorityOfFailure(), "cannot notify %s: %s",
                notification.partner.empty() ? "the partners" : notification.partner.c_str(),
                std::strerror(-result));
    // That is a name which the application has got wrong.
    if (result != -EINVAL) FailSoon(result);
}

// A partner may leave its channel at any time.
int Outbox::PriorityOfFailure() const {
    return sd_bus_is_bus_client(m_bus) > 0 ? kError : kDebug;
}

// Behind all that was not lost, so that whoever reads anew then has missed nothing.
void Outbox::TellOfLoss() {
    UniqueMessage message;
    int result = NewSignal(message, endpoint_names::kLost);
    if (result >= 0) result = sd_bus_send(m_bus, message.get(), nullptr);
    m_probe.Sent();
    if (result < 0) FailSoon(result);
}

void Outbox::TransmitReply(UniqueMessage reply) {
    const int result = sd_bus_send(m_bus, reply.get(), nullptr);
    m_probe.Sent();
    if (result >= 0) return;
    APPLIST_LOG(PriorityOfFailure(), "cannot send a reply: %s", std::strerror(-result));
    FailSoon(result);
}

// A caller whose answer was lost would wait for it, and a partner would not know of the event. When
// the connection ends, both know. Not at once: the caller of this is in the middle of something.
void Outbox::FailSoon(int error) {
    if (sd_bus_is_open(m_bus) <= 0) return;  // ends anyway
    m_error = error;
    sd_event_source_set_enabled(m_failure.get(), SD_EVENT_ONESHOT);
}

int Outbox::OnFailure(sd_event_source*, void* userdata) {
    Outbox* const outbox = static_cast<Outbox*>(userdata);
    Guarded("giving the bus up", [outbox] { outbox->m_onFailed(outbox->m_error); });
    return 0;
}

void Outbox::Pump() {
    while (!m_queue.Empty() && LibraryHasRoom(m_queue.Front().Bytes())) {
        Transmit(m_queue.Front());
        m_queue.Pop();
    }
    if (!m_queue.Empty()) return;
    if (std::exchange(m_hasLost, false)) TellOfLoss();
    if (m_waitingReply) TransmitReply(std::move(m_waitingReply));
}

// When the loop has ended already, neither call puts anything on it; Flush then sends the rest.
//
// Not when the connection is ending: the library closes the descriptor then, and if a child of this
// process has a copy of it, the loop goes on watching it for a gate that is long gone.
void Outbox::AwaitDrain() {
    if (m_gate || sd_bus_is_open(m_bus) <= 0) return;
    // Off the loop first: epoll refuses to watch one descriptor twice.
    sd_bus_detach_event(m_bus);
    const int result = MakeGate();
    if (result >= 0) return;
    // On the loop again, the connection would answer; but what waits here would wait for ever.
    sd_bus_attach_event(m_bus, m_event, SD_EVENT_PRIORITY_NORMAL);
    FailSoon(result);
}

// A socket is writable long before everything was read; but whenever something is, it becomes so
// anew, and that is an edge.
int Outbox::MakeGate() {
    const bool isFull = InLibrary() > 0;
    sd_event_source* source = nullptr;
    const int result =
        sd_event_add_io(m_event, &source, sd_bus_get_fd(m_bus),
                        isFull ? EPOLLOUT : EPOLLOUT | EPOLLET, isFull ? OnWritable : OnRead, this);
    m_gate.reset(source);
    return result;
}

// sd-bus answers some calls by itself (introspection, properties, pings), and those answers pile up
// as ours do. Without this filter a partner that sends pings and reads nothing could fill the
// memory: so whatever comes in while something waits closes the gate behind it.
int Outbox::OnIncoming(sd_bus_message* message, void* userdata, sd_bus_error*) {
    Outbox* const outbox = static_cast<Outbox*>(userdata);
    Guarded("watching the bus", [=] {
        if (outbox->Stalled()) outbox->AwaitDrain();
        if (sd_bus_message_is_method_call(message, nullptr, nullptr) > 0) outbox->m_probe.Sent();
    });
    return 0;
}

void Outbox::OpenGate() {
    m_gate.reset();
    m_fds = 0;
    m_fdBytes = 0;
    const int result = sd_bus_attach_event(m_bus, m_event, SD_EVENT_PRIORITY_NORMAL);
    if (result < 0) m_onFailed(result);
}

int Outbox::OnWritable(sd_event_source*, int, std::uint32_t, void* userdata) {
    Outbox* const outbox = static_cast<Outbox*>(userdata);
    Guarded("draining the bus", [outbox] { outbox->Drain(); });
    return 0;
}

void Outbox::Drain() {
    if (sd_bus_is_open(m_bus) <= 0) return OpenGate();
    const int result = sd_bus_process(m_bus, nullptr);
    if (!m_gate) return;  // the bus went away meanwhile
    // Giving up, as the descriptor stays writable and the failure may last: trying again would
    // spin.
    if (result < 0) {
        m_gate.reset();
        return m_onFailed(result);
    }
    if (sd_bus_is_open(m_bus) <= 0) return OpenGate();
    Pump();
    GoOn();
    if (m_gate && InLibrary() == 0) CloseGate();
}

// Asked again each time: what was just called may have filled the connection anew, or detached it.
void Outbox::GoOn() {
    if (!Stalled()) m_onDrained();
    if (m_gate && !Stalled()) OpenGate();
}

// Made anew, the gate would be told of an edge at once, and so for ever.
int Outbox::OnRead(sd_event_source*, int, std::uint32_t, void* userdata) {
    Outbox* const outbox = static_cast<Outbox*>(userdata);
    Guarded("looking at what is unread", [outbox] {
        outbox->GoOn();
        if (outbox->m_gate && outbox->InLibrary() > 0) outbox->CloseGate();
    });
    return 0;
}

// The one that fits what is waited for, in place of another.
void Outbox::CloseGate() {
    m_gate.reset();
    const int result = MakeGate();
    if (result < 0) m_onFailed(result);
}

}  // namespace applist
