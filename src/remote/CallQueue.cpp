// SPDX-License-Identifier: MIT

#include "remote/CallQueue.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "common/AppListLog.h"
#include "common/Guarded.h"
#include "remote/RemoteLimits.h"

namespace applist {

struct CallQueue::Call {
    CallId id;
    std::vector<char> request;
    std::size_t bytes;  // of the request, which is freed once it is sent
    ReplyHandler onReply;
    Time deadline = Time::max();
    bool isDone = false;
    RemoteReply reply;
};

CallQueue::CallQueue(const RemoteErrors& errors, RemoteRoute& route)
    : m_errors(errors),
      m_route(route),
      m_noMemory(errors.NoMemory()),
      m_noMemoryForReply(errors.NoMemoryForReply()),
      m_noAnswer(errors.NoAnswer()),
      m_outcomeUnknown(errors.OutcomeUnknown()),
      m_timeout(remote_limits::kDefaultTimeout) {}

CallQueue::~CallQueue() = default;

bool CallQueue::HasRoomFor(std::size_t bytes) const {
    return !HasWaiting() || (m_calls.size() - m_sent < remote_limits::kMaxWaitingCalls &&
                             m_waitingBytes + bytes <= remote_limits::kMaxWaitingBytes);
}

void CallQueue::Post(std::vector<char> request, ReplyHandler onReply) {
    RemoteReply refusal;
    if (m_state == State::Absent) {
        refusal.error = m_errors.NoService(m_where);
    } else if (!HasRoomFor(request.size())) {
        refusal.error = m_errors.TooMuchWaits();
    }
    if (refusal.error) return onReply(refusal);
    auto call = std::make_unique<Call>();
    call->id = m_nextId;
    call->bytes = request.size();
    call->request = std::move(request);
    call->onReply = std::move(onReply);
    call->reply.error = m_noMemory;
    // Counted only once it is in the queue: push_back may throw.
    const std::size_t bytes = call->bytes;
    m_calls.push_back(std::move(call));
    m_waitingBytes += bytes;
    ++m_nextId;
    SendWaiting();
    Deliver();
}

void CallQueue::Expect() {
    m_state = State::Unknown;
}

void CallQueue::Open() {
    m_state = State::Open;
    SendWaiting();
    Deliver();
}

void CallQueue::Close(const std::string& where) {
    m_state = State::Absent;
    Guarded("ending the calls", [&] { m_where = where; });
    // All are ended before any handler is called: a handler may post, and must find the new state.
    Interrupt();
    for (std::size_t at = m_sent; at < m_calls.size(); ++at) {
        Call& call = *m_calls[at];
        call.isDone = true;
        Guarded("ending a call", [&] { call.reply.error = m_errors.NoService(m_where); });
    }
    m_sent = m_calls.size();
    m_sentBytes += std::exchange(m_waitingBytes, 0);
    Deliver();
}

void CallQueue::Interrupt() {
    for (std::size_t at = 0; at < m_sent; ++at) {
        Call& call = *m_calls[at];
        if (call.isDone) continue;
        m_route.Forget(call.id);
        call.isDone = true;
        call.reply.error = m_outcomeUnknown;
    }
}

// With nothing under way a call is sent whatever its size, and even if the other end is not
// reading: no reply would come that leads here again. Otherwise the next reply does.
bool CallQueue::MaySend() const {
    if (m_state != State::Open || !m_route.IsOpen()) return false;
    if (m_sent == 0) return true;
    return m_sent < remote_limits::kMaxCallsUnderWay &&
           m_sentBytes + m_calls[m_sent]->bytes <= remote_limits::kMaxBytesUnderWay &&
           !m_route.IsClogged();
}

void CallQueue::SendWaiting() {
    while (HasWaiting() && MaySend()) {
        // Counted as sent even if sending fails: then it is done, and Deliver takes it out like any
        // other, in its turn.
        Call& call = *m_calls[m_sent];
        ++m_sent;
        m_sentBytes += call.bytes;
        m_waitingBytes -= call.bytes;
        int result = -ENOMEM;
        Guarded("sending a call", [&] { result = Send(call); });
        if (result >= 0) continue;
        if (!m_route.IsOpen()) return TakeBack(call);
        call.isDone = true;
        Guarded("sending a call", [&] { call.reply.error = m_errors.NotSent(-result); });
    }
}

// The connection has ended with this attempt. Nothing of the call has left, and those behind it are
// meant to come after it, wherever they go.
void CallQueue::TakeBack(const Call& call) {
    --m_sent;
    m_sentBytes -= call.bytes;
    m_waitingBytes += call.bytes;
}

int CallQueue::Send(Call& call) {
    call.deadline = m_route.Now() + m_timeout;
    const int result = m_route.SendCall(call.id, call.request);
    if (result >= 0) std::vector<char>().swap(call.request);  // clear() would keep the memory
    return result;
}

// Ids are consecutive, so an id tells the place of its call. An answer may come late, for a call
// that has been taken out already.
void CallQueue::Answer(CallId id, std::optional<RemoteReply> reply) {
    if (m_calls.empty() || id < m_calls.front()->id || id - m_calls.front()->id >= m_sent) return;
    Call& call = *m_calls[static_cast<std::size_t>(id - m_calls.front()->id)];
    if (call.isDone) return;
    call.isDone = true;
    call.reply = reply ? std::move(*reply) : RemoteReply{{}, m_noMemoryForReply};
    Deliver();
}

bool CallQueue::EndOverdue() {
    const Time now = m_route.Now();
    bool ended = false;
    for (std::size_t at = 0; at < m_sent; ++at) {
        Call& call = *m_calls[at];
        if (call.isDone || call.deadline > now) continue;
        m_route.Forget(call.id);
        call.isDone = ended = true;
        call.reply.error = m_noAnswer;
    }
    if (ended) Deliver();
    return ended;
}

CallQueue::Time CallQueue::Due() const {
    Time due = Time::max();
    for (std::size_t at = 0; at < m_sent; ++at) {
        if (!m_calls[at]->isDone) due = std::min(due, m_calls[at]->deadline);
    }
    return due;
}

// In order of posting, in whatever order the answers came. A handler that posts gets here again,
// but no other handler may run before it has finished. One that throws does not keep the next
// call's handler from running.
void CallQueue::Deliver() {
    if (m_isDelivering) return;
    m_isDelivering = true;
    while (!m_calls.empty() && m_calls.front()->isDone) {
        const std::unique_ptr<Call> call = std::move(m_calls.front());
        m_calls.pop_front();
        --m_sent;
        m_sentBytes -= call->bytes;
        SendWaiting();
        if (m_hasHandlers) Guarded("handling a reply", [&] { call->onReply(call->reply); });
    }
    m_isDelivering = false;
}

// The service may refuse it at first, because of those under way. Or it always will, because the
// call is too large: each try makes such a call anew, so there are few.
int CallQueue::SendAwaited(const std::vector<char>& request, Time deadline) {
    Time pause = remote_limits::kFirstRefusalPause;
    while (true) {
        const int result = m_route.SendAwaited(request, deadline);
        const Time next = m_route.Now() + pause;
        if (result != -ENOBUFS || next >= deadline) return result;
        m_route.Pause(next);
        pause = std::min(2 * pause, remote_limits::kLastRefusalPause);
    }
}

void CallQueue::SendLast(Time patience, Time deadline) {
    int result = IsOpen() ? 0 : -ENOTCONN;  // as long as nobody knows who the service is
    std::size_t count = m_sent;
    std::size_t bytes = m_sentBytes;
    // The calls behind one that fails must not be executed without it.
    while (HasWaiting() && result >= 0) {
        const std::vector<char>& request = m_calls[m_sent]->request;
        bytes += request.size();
        if (++count <= remote_limits::kMaxCallsUnderWay &&
            bytes <= remote_limits::kMaxBytesUnderWay) {
            result = m_route.SendUnanswered(request);
        } else {
            result = SendAwaited(request, std::min(m_route.Now() + patience, deadline));
            count = bytes = 0;
        }
        // One that was waited for in vain is on its way all the same.
        if (result >= 0 || result == -ETIMEDOUT) ++m_sent;
    }
    if (!HasWaiting()) return;
    APPLIST_LOG(logging::kError, "%s: calls lost, because they could not be sent: %zu (%s)",
                m_errors.Endpoint().c_str(), m_calls.size() - m_sent, std::strerror(-result));
}

}  // namespace applist
