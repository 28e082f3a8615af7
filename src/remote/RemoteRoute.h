// What a partner's session asks of whatever carries its messages to the service and back: the seam
// below which a bus is real or made for a test.
//
// Threads: the main loop's. Lifetime: outlives the session that uses it.

#pragma once

#include <chrono>
#include <cstdint>
#include <vector>

namespace applist {

class RemoteRoute {
public:
    // Since any fixed instant.
    using Time = std::chrono::microseconds;
    using CallId = std::uint64_t;

    // A clock that only goes forward.
    virtual Time Now() const = 0;

    // Whether anything can be sent at all; false on a connection that has ended or not yet begun.
    virtual bool IsOpen() const = 0;

    // Whether the other end does not take what was sent: sending more would only pile it up here.
    virtual bool IsClogged() const = 0;

    // Sends a call whose answer is told to the session by `call`. Returns 0 or a negative errno.
    virtual int SendCall(CallId call, const std::vector<char>& request) = 0;

    // The answer to `call` is not wanted any more.
    virtual void Forget(CallId call) = 0;

    // Sends a call whose answer nobody wants. Returns 0 or a negative errno.
    virtual int SendUnanswered(const std::vector<char>& request) = 0;

    // Sends a notification to the service. Returns 0 or a negative errno: -ENOBUFS when too many
    // wait to be taken.
    virtual int SendNotification(const std::vector<char>& body) = 0;

    // Asks the service to take this partner as connected, and for its count of notifications. A
    // second question for the count takes the place of one that was not answered yet. Each returns
    // 0 or a negative errno.
    virtual int AskToConnect() = 0;
    virtual int AskForCount() = 0;

    // Whether something that arrived is being handled: nothing else can be, meanwhile.
    virtual bool IsDispatching() const = 0;

    // Lets one thing arrive, waiting for it until `deadline` at most. Returns false when nothing
    // did, and nothing will.
    virtual bool Dispatch(Time deadline) = 0;

protected:
    ~RemoteRoute() = default;
};

}  // namespace applist
