// SPDX-License-Identifier: MIT

// The calls of a partner: sent in order and answered in order, with a bounded number under way.
//
//            Expect            Open                 Close
//   Unknown <------- any state -----> Open   any state -----> Absent
//
// Unknown: nobody has said yet where calls go to, and they wait. Open: calls are sent. Absent:
// there is no service. Then calls that were under way end with an unknown outcome, calls that
// waited end as not sent, and new ones are refused at once.
//
// Lifetime: a reply handler may destroy the queue's owner, which therefore keeps itself alive
// around every call into the queue.

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

    // Whether another call of this size may wait. One may always wait, whatever its size.
    bool HasRoomFor(std::size_t bytes) const;

    // Puts a call at the end of the queue. `onReply` is called once, after the handlers of the
    // calls before it; or at once, with an error, when the service is absent or there is no room.
    void Post(std::vector<char> request, ReplyHandler onReply);

    // The three states above. `where` describes the bus without a service, for the errors' text.
    void Expect();
    void Open();
    void Close(const std::string& where);

    // Ends the calls under way with an unknown outcome. Those behind them keep waiting, and nobody
    // is told before Open or Close.
    void Interrupt();

    // Takes what came for `call`; nothing means that there was no memory for it. Does nothing for a
    // call that has ended already.
    void Answer(CallId call, std::optional<RemoteReply> reply);

    // Ends the calls that were not answered in time. Returns whether there were any.
    bool EndOverdue();
    // When the next one is overdue; Time::max() when none will be.
    Time Due() const;

    // From now on nobody is told of any reply.
    void DropHandlers() { m_hasHandlers = false; }
    // Sends all waiting calls, without telling anybody of the answers. As the service would refuse
    // calls that are too many, it waits for some of them, for `patience` at most each time, and for
    // none beyond `deadline`. What cannot be sent then is lost, which is logged.
    void SendLast(Time patience, Time deadline);

    bool IsOpen() const { return m_state == State::Open; }
    // True while a posted call has not been handed to the route.
    bool HasWaiting() const { return m_sent < m_calls.size(); }
    // True while one that was handed to it has not ended.
    bool HasUnderWay() const { return m_sent > 0; }
    bool IsEmpty() const { return m_calls.empty(); }
    // True inside a reply handler, during which no other reply is delivered.
    bool IsDelivering() const { return m_isDelivering; }

private:
    enum class State { Unknown, Open, Absent };
    struct Call;

    // Whether the first waiting call may be sent now.
    bool MaySend() const;
    void SendWaiting();
    int Send(Call& call);
    void TakeBack(const Call& call);
    int SendAwaited(const std::vector<char>& request, Time deadline);
    // Calls the handlers of the calls that have ended, up to the first that has not.
    void Deliver();

    const RemoteErrors& m_errors;
    RemoteRoute& m_route;
    // Made in advance: when memory has run out, calls must still end, each with the truth.
    const RemoteError m_noMemory;
    const RemoteError m_noMemoryForReply;
    const RemoteError m_noAnswer;
    const RemoteError m_outcomeUnknown;
    Time m_timeout;
    State m_state = State::Unknown;
    std::string m_where;
    bool m_hasHandlers = true;
    bool m_isDelivering = false;

    // In order of posting, with consecutive ids. The first m_sent have been sent, the others wait.
    std::deque<std::unique_ptr<Call>> m_calls;
    CallId m_nextId = 1;
    std::size_t m_sent = 0;
    std::size_t m_sentBytes = 0;
    std::size_t m_waitingBytes = 0;
};

}  // namespace applist
