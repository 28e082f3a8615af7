// SPDX-License-Identifier: MIT

// Everything between a partner and its service that does not depend on what carries the messages:
// calls, notifications, whether the service can be used and whether anything was lost. It knows
// neither a bus nor a clock; the route has both.
//
// Lifetime: lives in its route, which keeps itself alive around every call here, because the owner
// may be destroyed from inside an entry point or a reply handler.

#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "remote/CallQueue.h"
#include "remote/LossWatch.h"
#include "remote/RemoteErrors.h"
#include "remote/RemoteReply.h"
#include "remote/RemoteRoute.h"
#include "remote/TesselDbusRemote.h"

namespace applist {

class RemoteSession {
public:
    using Time = RemoteRoute::Time;
    using CallId = RemoteRoute::CallId;

    // `owner` is the one whose entry points are called.
    RemoteSession(TesselDbusRemote& owner, const std::string& endpoint, RemoteRoute& route);

    // For the owner, as in TesselDbusRemote.h.
    void Post(std::vector<char> request, ReplyHandler onReply);
    std::vector<char> Send(std::vector<char> request);
    void SetTimeout(Time timeout);
    void Notify(const std::vector<char>& body);
    void CallLater(Time delay, std::function<void()> callback);
    // Stops calling the owner and sends what waits, once the service is known; gives up at
    // `deadline`. Returns whether anything was sent that may not have arrived.
    bool Close(Time deadline);

    // For the route, from here on. `service` owns the name and can be sent to. Returns false when
    // nothing can be sent to it after all.
    bool Appeared(const std::string& service);
    // There is no service on the bus that `where` describes.
    void Gone(const std::string& where);
    // It is not known yet whether there is one.
    void Unknown();
    // The route is about to change the way that it takes to the service: calls wait from now on.
    // Release: it does not after all.
    void Hold();
    void Release();
    // It has changed. What is under way on the former one ends with an unknown outcome, and calls
    // that wait go on. The owner is told that the service is usable again, if anything may have
    // been lost. `isConnected` says whether the service regards this partner as connected on the
    // new way. Returns as Appeared does.
    bool Moved(bool isConnected);
    // Whether a call was sent and has not ended.
    bool HasUnderWay() const { return m_calls.HasUnderWay(); }
    // The service has answered that this partner is connected.
    void Joined();
    // The service has answered that it has no place for this partner now, and why. Asks it again
    // from time to time: it does not tell when a place is free.
    void HadNoPlace(const std::string& why);
    // The service's count of notifications; when it refuses one, `why` says why.
    void Counted(std::optional<std::uint64_t> count, const std::string& why);
    // A notification came, to everyone who listens or to this partner alone.
    void Notified(std::vector<char> body, bool toEveryone);
    // The service says that it had to drop notifications to this partner.
    void LostSome();
    // The answer to `call`; nothing when there was no memory for it.
    void Answered(CallId call, std::optional<RemoteReply> reply);
    void TimePassed();
    // When to call TimePassed; Time::max() for never.
    Time Due() const;

    const std::string& Service() const { return m_service; }
    const RemoteErrors& Errors() const { return m_errors; }

private:
    bool IsClosed() const { return m_owner == nullptr; }
    // Asks if the watch wants it, and tells the watch when that cannot be sent.
    void TellReady(bool state, std::string service);
    void AskForCount(bool wanted);
    void AskForAPlace();
    void StopAskingForAPlace();
    // Asks what there is to ask, and lets calls go to the service.
    bool Begin(bool connects, bool counts);
    // The owner's copy of the service's state may be out of date: see LossWatch.
    void OnDoubt();
    // Handles what arrives until `done` returns true, `deadline` at the latest.
    template <class Done>
    void DispatchUntil(Done done, Time deadline);

    TesselDbusRemote* m_owner;  // null once closed
    const RemoteErrors m_errors;
    RemoteRoute& m_route;
    CallQueue m_calls;
    LossWatch m_watch;
    std::string m_service;  // empty while there is none
    // When to ask for a place again, and how long after the last refusal that is; none before one.
    Time m_placeAt = Time::max();
    Time m_placePause{0};
    // What CallLater asked for, and when.
    std::function<void()> m_later;
    Time m_laterAt = Time::max();
    Time m_timeout;
    bool m_isTelling = false;  // the owner of the connection's beginning or end
    bool m_hasNotified = false;
    bool m_isHeld = false;
};

}  // namespace applist
