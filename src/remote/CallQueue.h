// The calls of a partner: sent in order, answered in order, a bounded number of them under way.
//
//            Expect            Open                 Close
//   Unknown <------- any state -----> Open   any state -----> Absent
//
// While it is Unknown who the service is, calls wait. While it is Open they are sent. Once the
// service is Absent, those under way have an unknown outcome, those that wait are known not to have
// been sent, and new ones are refused at once.
//
// Lifetime: a reply handler may end the queue's owner, which keeps itself alive around every call.

#pragma once

#include <cstddef>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "remote/RemoteErrors.h"
#include "remote/RemoteReply.h"
#include "remote/RemoteRoute.h"

namespace applist {

class CallQueue {
public:
    using Time = RemoteRoute::Time;
    using CallId = RemoteRoute::CallId;

    CallQueue(const RemoteErrors& errors, RemoteRoute& route);
    ~CallQueue();
    CallQueue(const CallQueue&) = delete;
    CallQueue& operator=(const CallQueue&) = delete;

    // How long an answer may take, for calls sent from now on.
    void SetTimeout(Time timeout) { m_timeout = timeout; }

    // Whether another call may wait. One is always let in.
    bool HasRoomFor(std::size_t bytes) const;

    // Puts a call at the end. `onReply` is called once, after those of the calls before it; at once
    // when the service is absent or there is no room.
    void Post(std::vector<char> request, ReplyHandler onReply);

    void Expect();
    void Open();
    // `where`, the bus without a service, is for the errors' text.
    void Close(const std::string& where);

    // What came for `call`; nothing when there was no memory for it. A call that has ended already
    // stays as it is.
    void Answer(CallId call, std::optional<RemoteReply> reply);

    // Ends the calls that were not answered in time; returns whether there were any.
    bool EndOverdue();
    // When the next one is overdue; Time::max() when none will be.
    Time Due() const;

    // Nobody wants to hear of any reply from now on.
    void DropHandlers() { m_hasHandlers = false; }
    // Hands over all that waits, as calls without an answer: those do not count among a
    // connection's open ones.
    void SendUnanswered();

    bool IsOpen() const { return m_state == State::Open; }
    // True while a posted call has not been handed over.
    bool HasWaiting() const { return m_sent < m_calls.size(); }
    bool IsEmpty() const { return m_calls.empty(); }
    // True inside a reply's handler: no other reply is delivered meanwhile.
    bool IsDelivering() const { return m_isDelivering; }

private:
    enum class State { Unknown, Open, Absent };
    struct Call;

    bool MaySend() const;
    void SendWaiting();
    int Send(Call& call);
    void Deliver();

    const RemoteErrors& m_errors;
    RemoteRoute& m_route;
    Time m_timeout;
    State m_state = State::Unknown;
    std::string m_where;
    bool m_hasHandlers = true;
    bool m_isDelivering = false;

    // In order of posting, under consecutive ids; the first m_sent of them have been sent.
    std::deque<std::unique_ptr<Call>> m_calls;
    CallId m_nextId = 1;
    std::size_t m_sent = 0;
    std::size_t m_sentBytes = 0;
    std::size_t m_waitingBytes = 0;
};

}  // namespace applist
