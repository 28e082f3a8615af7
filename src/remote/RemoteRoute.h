// SPDX-License-Identifier: MIT

// What a partner's session needs from whatever carries its messages to the service and back. It is
// the seam for tests: behind it is a real bus, or one that a test made.
//
// Lifetime: outlives the session that uses it.

#pragma once

#include <chrono>
#include <cstdint>
#include <vector>

namespace applist {

class RemoteRoute {
public:
    // Counted from any fixed instant.
    using Time = std::chrono::microseconds;
    using CallId = std::uint64_t;

    // A clock that only goes forward.
    virtual Time Now() const = 0;

    // Whether anything can be sent: false before the connection is up and after it has ended.
    virtual bool IsOpen() const = 0;

    // Whether the other end is not reading, so that sending more would only pile it up here.
    virtual bool IsClogged() const = 0;

    // Whether nothing that the service sends is lost on its way unless the service says so.
    virtual bool IsReliable() const = 0;

    // Sends a call. Its answer is told to the session under the id `call`. Returns 0 or a negative
    // errno.
    virtual int SendCall(CallId call, const std::vector<char>& request) = 0;

    // The answer to `call` is not wanted any more.
    virtual void Forget(CallId call) = 0;

    // Sends a call whose answer nobody wants. Returns 0 or a negative errno.
    virtual int SendUnanswered(const std::vector<char>& request) = 0;

    // Sends a call and waits until the service has executed it, and so all before it; until
    // `deadline` at most, and also while something that has arrived is being handled. Returns 0 or
    // a negative errno, which is -ENOBUFS when the service has refused it for want of room.
    virtual int SendAwaited(const std::vector<char>& request, Time deadline) = 0;

    // Lets time pass, until `until` or a little less, and handles nothing meanwhile.
    virtual void Pause(Time until) = 0;

    // Sends a notification to the service. Returns 0 or a negative errno, which is -ENOBUFS when
    // too much is waiting already.
    virtual int SendNotification(const std::vector<char>& body) = 0;

    // Ask the service to regard this partner as connected, and for its count of notifications.
    // Asking for the count again replaces a question that was not answered yet. Each returns 0 or a
    // negative errno.
    virtual int AskToConnect() = 0;
    virtual int AskForCount() = 0;

    // Whether something that has arrived is being handled. Nothing else can be handled meanwhile.
    virtual bool IsDispatching() const = 0;

    // Does what the route would have done by itself by now, such as look for a bus that was lost:
    // nobody may have run its loop. Not while something that has arrived is being handled.
    virtual void CatchUp() = 0;

    // Handles one thing that arrives, waiting for it until `deadline` at most, and catches up
    // meanwhile. Returns false when nothing came and nothing will.
    virtual bool Dispatch(Time deadline) = 0;

protected:
    ~RemoteRoute() = default;
};

}  // namespace applist
