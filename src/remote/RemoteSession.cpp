// SPDX-License-Identifier: MIT

#include "remote/RemoteSession.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <utility>

#include "common/AppListLog.h"
#include "common/Guarded.h"
#include "remote/RemoteLimits.h"

namespace applist {

using logging::kDebug;
using logging::kError;

RemoteSession::RemoteSession(TesselDbusRemote& owner, const std::string& endpoint,
                             RemoteRoute& route)
    : m_owner(&owner),
      m_errors(endpoint),
      m_route(route),
      m_calls(m_errors, route),
      m_timeout(remote_limits::kDefaultTimeout) {}

// ---- For the owner ------------------------------------------------------------------------------

void RemoteSession::Post(std::vector<char> request, ReplyHandler onReply) {
    m_calls.Post(std::move(request), std::move(onReply));
}

// Inside a reply handler no other reply is delivered, and inside any other callback of the route
// nothing arrives: waiting there would always end in a timeout. The owner is told of the connection
// inside one or by a timer, and there it always fails, rather than now and then.
std::vector<char> RemoteSession::Send(std::vector<char> request) {
    if (m_calls.IsDelivering() || m_isTelling || m_route.IsDispatching()) {
        throw m_errors.WaitingInsideListener();
    }
    m_route.CatchUp();  // so that the service may be back, for a program that does nothing but wait
    if (IsClosed()) throw m_errors.DestroyedWhileWaiting();
    const Time deadline = m_route.Now() + m_timeout;
    DispatchUntil([&] { return m_calls.HasRoomFor(request.size()) || IsClosed(); }, deadline);
    if (IsClosed()) throw m_errors.DestroyedWhileWaiting();
    // Shared with the handler, because the reply may come after we have given up.
    const auto reply = std::make_shared<std::optional<RemoteReply>>();
    m_calls.Post(std::move(request), [reply](RemoteReply& answer) { *reply = std::move(answer); });
    DispatchUntil([&] { return reply->has_value() || IsClosed(); }, deadline);
    if (IsClosed()) throw m_errors.DestroyedWhileWaiting();
    if (!reply->has_value()) {
        OnDoubt();
        throw m_errors.NoAnswer();
    }
    if ((*reply)->error) throw RemoteError(*(*reply)->error);
    return std::move((*reply)->body);
}

// One thing at a time, in the order of arrival: a reply taken out of the middle would overtake the
// events before it.
template <class Done>
void RemoteSession::DispatchUntil(Done done, Time deadline) {
    while (!done() && m_route.Dispatch(std::min(deadline, m_calls.Due()))) {
        if (m_calls.EndOverdue()) OnDoubt();
        if (m_route.Now() >= deadline) return;
    }
}

void RemoteSession::SetTimeout(Time timeout) {
    m_timeout = timeout;
    m_calls.SetTimeout(timeout);
}

void RemoteSession::Notify(const std::vector<char>& body) {
    const char* const endpoint = m_errors.Endpoint().c_str();
    if (m_service.empty() || !m_route.IsOpen()) return;
    if (body.size() > remote_limits::kMaxInlineBytes) {
        APPLIST_LOG(kError,
                    "%s: dropped a notification of %zu bytes, which is more than a bus carries",
                    endpoint, body.size());
        return;
    }
    const int result = m_route.SendNotification(body);
    m_hasNotified = true;
    if (result == -ENOBUFS) {
        APPLIST_LOG(kDebug, "%s: dropped a notification, because the bus reads nothing", endpoint);
    } else if (result < 0) {
        APPLIST_LOG(kError, "%s: cannot notify the service: %s", endpoint, std::strerror(-result));
    }
}

void RemoteSession::CallLater(Time delay, std::function<void()> callback) {
    m_laterAt = m_route.Now() + delay;
    m_later = std::move(callback);
}

bool RemoteSession::Close(Time deadline) {
    // From here on nothing calls the owner, although things still arrive below: it is being
    // destroyed.
    m_owner = nullptr;
    m_later = nullptr;
    m_laterAt = Time::max();
    m_calls.DropHandlers();
    const bool hasSent = !m_calls.IsEmpty() || m_hasNotified;
    Release();  // the way stays as it is
    // Inside a callback of the route nothing arrives. By then the service is known, or there is
    // nobody to send to.
    DispatchUntil([this] { return !m_calls.HasWaiting() || m_calls.IsOpen(); }, deadline);
    Guarded("sending the last calls",
            [&] { m_calls.SendLast(remote_limits::kFlushTimeout, m_route.Now() + m_timeout); });
    return hasSent;
}

// ---- For the route ------------------------------------------------------------------------------

// The order matters: the route has subscribed already, then comes the connection, then the count.
// So no notification after the count can be missed, and both sides count the same ones.
bool RemoteSession::Appeared(const std::string& service) {
    m_service = service;
    StopAskingForAPlace();
    const bool counts = m_watch.Start(m_route.Now(), m_route.IsReliable());
    return Begin(/* connects */ true, counts);
}

bool RemoteSession::Begin(bool connects, bool counts) {
    if (connects && m_route.AskToConnect() < 0) return false;
    if (counts && m_route.AskForCount() < 0) return false;
    m_isHeld = false;
    m_calls.Open();
    return true;
}

void RemoteSession::Hold() {
    m_isHeld = true;
    m_calls.Expect();
}

void RemoteSession::Release() {
    if (std::exchange(m_isHeld, false)) m_calls.Open();
}

// An answer that was still to come, to the question for a place as well, does not come any more.
bool RemoteSession::Moved(bool isConnected) {
    m_calls.Interrupt();
    if (!isConnected) StopAskingForAPlace();
    if (m_placePause > Time(0)) m_placeAt = m_route.Now() + m_placePause;
    return Begin(!isConnected, m_watch.Move(m_route.Now(), m_route.IsReliable()));
}

void RemoteSession::Gone(const std::string& where) {
    const std::string service = std::exchange(m_service, std::string());
    m_watch.Stop();
    StopAskingForAPlace();
    m_isHeld = false;
    m_calls.Close(where);
    // Even if it was never reported as usable: it may have answered calls all the same.
    if (!service.empty()) TellReady(false, service);
}

void RemoteSession::Unknown() {
    m_calls.Expect();
}

void RemoteSession::Joined() {
    StopAskingForAPlace();
    AskForCount(m_watch.Joined(m_route.Now()));
}

// Without a place everything else goes on, so there is no hurry, and the others who have none ask,
// too.
void RemoteSession::HadNoPlace(const std::string& why) {
    if (m_placePause == Time(0)) {
        APPLIST_LOG(kError, "%s: cannot connect to the service: %s; asking again now and then",
                    m_errors.Endpoint().c_str(), why.c_str());
    }
    m_placePause = std::clamp(2 * m_placePause, remote_limits::kFirstPlacePause,
                              remote_limits::kLastPlacePause);
    m_placeAt = m_route.Now() + m_placePause;
    AskForCount(m_watch.Joined(m_route.Now()));  // it is alive
}

void RemoteSession::AskForAPlace() {
    if (m_route.Now() < m_placeAt) return;
    // No answer comes when it cannot be sent.
    m_placeAt = m_route.AskToConnect() < 0 ? m_route.Now() + m_placePause : Time::max();
}

void RemoteSession::StopAskingForAPlace() {
    m_placeAt = Time::max();
    m_placePause = Time(0);
}

void RemoteSession::Counted(std::optional<std::uint64_t> count, const std::string& why) {
    const bool isNews = !m_watch.IsFollowing();
    if (!m_watch.Counted(count, m_route.Now())) return;
    if (!count && isNews) {
        APPLIST_LOG(kError,
                    "%s: cannot read the service's count of notifications, so a lost one goes "
                    "unnoticed: %s",
                    m_errors.Endpoint().c_str(), why.c_str());
    }
    TellReady(true, m_service);
}

void RemoteSession::Notified(std::vector<char> body, bool toEveryone) {
    m_watch.Notified(toEveryone, m_route.Now());
    if (!m_watch.IsFollowing() || IsClosed()) return;
    Guarded("telling of a notification", [&] { m_owner->HandleNotification(body); });
}

void RemoteSession::LostSome() {
    OnDoubt();
}

// What the owner throws is no reason to doubt the connection.
void RemoteSession::TellReady(bool state, std::string service) {
    if (IsClosed()) return;
    m_isTelling = true;
    Guarded("telling of a connection", [&] { m_owner->HandleConnectionReady(state, service); });
    m_isTelling = false;
}

void RemoteSession::Answered(CallId call, std::optional<RemoteReply> reply) {
    m_calls.Answer(call, std::move(reply));
}

void RemoteSession::TimePassed() {
    if (m_calls.EndOverdue()) OnDoubt();
    AskForCount(m_watch.TimePassed(m_route.Now()));
    AskForAPlace();
    if (m_route.Now() < m_laterAt) return;
    m_laterAt = Time::max();
    // Taken out first, because the callback may ask for the next one.
    const std::function<void()> later = std::exchange(m_later, nullptr);
    if (later) Guarded("running a delayed call", later);
}

RemoteSession::Time RemoteSession::Due() const {
    return std::min({m_calls.Due(), m_watch.Due(), m_placeAt, m_laterAt});
}

void RemoteSession::OnDoubt() {
    AskForCount(m_watch.Doubt(m_route.Now()));
}

// Whatever keeps it from being sent, the watch must know: it would wait a minute for the answer,
// and what is lost meanwhile would go unnoticed.
void RemoteSession::AskForCount(bool wanted) {
    if (!wanted) return;
    int result = -ENOMEM;
    Guarded("asking for the count", [&] { result = m_route.AskForCount(); });
    if (result < 0) m_watch.NotAsked(m_route.Now());
}

}  // namespace applist
