// A partner's dealings with its service, whatever carries them: calls, notifications, whether the
// service can be used and whether anything was lost. Knows neither a bus nor a clock; both are the
// route's.
//
// Threads: the main loop's. Lifetime: its route's, which keeps itself alive around every call here,
// since the owner may be destroyed from inside an entry point or a reply handler.

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

    RemoteSession(TesselDbusRemote& owner, const std::string& endpoint, RemoteRoute& route);

    // For the owner: see TesselDbusRemote.h.
    void Post(std::vector<char> request, ReplyHandler onReply);
    std::vector<char> Send(std::vector<char> request);
    void SetTimeout(Time timeout);
    void Notify(const std::vector<char>& body);
    void CallLater(Time delay, std::function<void()> callback);
    // Calls the owner no more, and sends what waits: as soon as the service is known, and until
    // `deadline` at most. Returns whether anything was sent that may not have arrived.
    bool Close(Time deadline);

    // For the route. The service is `service`, whom it can send to now; false when that does not
    // answer to being asked.
    bool Appeared(const std::string& service);
    // There is none, where `where` says.
    void Gone(const std::string& where);
    // It is not known who it is.
    void Unknown();
    void Joined();
    // `why` says why there is no count.
    void Counted(std::optional<std::uint64_t> count, const std::string& why);
    void Notified(std::vector<char> body, bool toEveryone);
    void Answered(CallId call, std::optional<RemoteReply> reply);
    void TimePassed();
    // When TimePassed is to be called; Time::max() for never.
    Time Due() const;

    const std::string& Service() const { return m_service; }
    const RemoteErrors& Errors() const { return m_errors; }

private:
    bool IsClosed() const { return m_owner == nullptr; }
    void AskForCount(bool wanted);
    void OnSilence();
    // Lets things arrive until `done`, or until `deadline`.
    template <class Done>
    void DispatchUntil(Done done, Time deadline);

    TesselDbusRemote* m_owner;  // null once closed
    const RemoteErrors m_errors;
    RemoteRoute& m_route;
    CallQueue m_calls;
    LossWatch m_watch;
    std::string m_service;  // empty while there is none
    std::function<void()> m_later;
    Time m_laterAt = Time::max();
    Time m_timeout;
    bool m_hasNotified = false;
};

}  // namespace applist
