// The partner's transport in memory: it finds a service in this process, over the bus of PairBus.h,
// and keeps the promises of the real one.
//
// Threads: one. Lifetime: entry points and reply handlers are called by that bus's steps, or from
// inside SendMessage; the object may be destroyed from inside any of them.

#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "remote/RemoteError.h"

namespace pair {
class Link;
}

namespace applist {

struct RemoteReply {
    std::vector<char> body;
    std::optional<RemoteError> error;
};

class TesselDbusRemote {
public:
    using ReplyHandler = std::function<void(RemoteReply& reply)>;

    explicit TesselDbusRemote(std::string endpointName);
    virtual ~TesselDbusRemote();

    virtual std::vector<char> HandleMessage(std::vector<char>& data) = 0;
    virtual void HandleNotification(std::vector<char>& data) = 0;
    virtual void HandleConnectionReady(bool state, const std::string& partner) = 0;

    void PostMessage(std::vector<char> data, ReplyHandler onReply);
    // Lets the bus run, and time pass, until the reply is there.
    std::vector<char> SendMessage(std::vector<char>& data);
    void SetTimeout(std::chrono::milliseconds timeout);
    void SendNotification(std::vector<char>& data);
    void SendNotification(std::vector<char>& data, const std::string& partner);
    std::chrono::microseconds Now() const;
    void CallLater(std::chrono::microseconds delay, std::function<void()> callback);

    TesselDbusRemote(const TesselDbusRemote&) = delete;
    TesselDbusRemote& operator=(const TesselDbusRemote&) = delete;

private:
    std::shared_ptr<pair::Link> m_link;
};

}  // namespace applist
