// SPDX-License-Identifier: MIT

#include "remote/RemoteLink.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <utility>

#include "bus/ChannelEnd.h"
#include "bus/EndpointNames.h"
#include "bus/TransportError.h"
#include "common/AppListLog.h"
#include "common/Joined.h"
#include "remote/RemoteLimits.h"

namespace applist {

using logging::kError;
using logging::kInfo;

namespace {

constexpr std::uint64_t kTimerAccuracy = 1000;  // microseconds

std::uint64_t Microseconds(std::chrono::microseconds time) {
    return static_cast<std::uint64_t>(time.count());
}

// What a connection waits for, and until when; `until` is moved there. Nothing for one that has
// ended, which poll does not look at.
struct pollfd WaitOf(sd_bus* connection, std::chrono::microseconds& until) {
    const int events = connection == nullptr ? -ENOTCONN : sd_bus_get_events(connection);
    if (events < 0) return {-1, 0, 0};
    std::uint64_t time = UINT64_MAX;
    if (sd_bus_get_timeout(connection, &time) >= 0 && time < Microseconds(until)) {
        until = std::chrono::microseconds(time);
    }
    return {sd_bus_get_fd(connection), static_cast<short>(events), 0};
}

bool IsInside(sd_bus* connection) {
    return connection != nullptr && sd_bus_get_current_message(connection) != nullptr;
}

}  // namespace

RemoteLink::RemoteLink(TesselDbusRemote& owner, const std::string& name)
    : m_link([this] { SetUp(); },
             [this] {
                 // The owner is told, and may destroy itself.
                 const auto self = shared_from_this();
                 Lost();
             },
             remote_limits::kLastRetry),
      m_session(owner, name, *this),
      m_service(
          m_link, endpoint_names::BusNameOf(name), [this] { return KeepAlive(); },
          [this](const std::string& service) { OwnedBy(service); }),
      m_channel(m_session.Errors(), m_link.Loop(), *this),
      m_carrier(m_session, *this) {
    MakeTimer();
}

// ---- For the owner ------------------------------------------------------------------------------

void RemoteLink::Close() {
    m_isClosing = true;
    m_channelAt = Time::max();
    if (!IsReliable()) m_channel.Close();
    bool hasSent = true;
    Guarded("sending the last calls",
            [&] { hasSent = m_session.Close(Now() + remote_limits::kFlushTimeout); });
    if (hasSent) m_carrier.AwaitRead(Now() + remote_limits::kFlushTimeout);
    m_channel.Close();
    m_link.Close();
    m_carrier.Drop();
}

void RemoteLink::Post(std::vector<char> request, ReplyHandler onReply) {
    const auto self = shared_from_this();
    m_session.Post(std::move(request), std::move(onReply));
}

std::vector<char> RemoteLink::Send(std::vector<char> request) {
    const auto self = shared_from_this();
    return m_session.Send(std::move(request));
}

void RemoteLink::CallLater(Time delay, std::function<void()> callback) {
    m_session.CallLater(delay, std::move(callback));
}

// ---- The bus ------------------------------------------------------------------------------------

void RemoteLink::SetUp() {
    m_session.Unknown();
    // Long, because the library counts from sending: a program that is busy and looks late at
    // answers that came in time would be told of a timeout.
    int result =
        sd_bus_set_method_call_timeout(m_link.Bus(), Microseconds(remote_limits::kCompareTimeout));
    if (result >= 0) {
        result = sd_bus_attach_event(m_link.Bus(), m_link.Loop(), SD_EVENT_PRIORITY_NORMAL);
    }
    if (result < 0) {
        throw TransportError(
            Joined({"cannot use ", m_link.Location().description, ": ", std::strerror(-result)}));
    }
    m_service.Follow();
}

void RemoteLink::Lost() {
    m_service.StopFollowing();
    Gone();
}

// The name's owner is `service` now; nobody when that is empty.
void RemoteLink::OwnedBy(const std::string& service) {
    const std::string before = m_session.Service();
    if (!before.empty() && before == service) return;
    // Not when this is the first that is heard of a service: the waiting calls are meant for it.
    if (!before.empty() || service.empty()) Gone();
    // Told that the old service is gone, the owner may have closed the link.
    if (!service.empty() && m_link.Bus() != nullptr) Appeared(service);
}

void RemoteLink::Appeared(const std::string& service) {
    const bool asksForChannel = !m_isClosing && MayUseChannels();
    m_channelAt = asksForChannel ? Now() + remote_limits::kChannelPatience : Time::max();
    m_lacksAnswer = false;
    const int result = m_carrier.Use(Way{m_link.Bus(), service});
    if (result >= 0 && m_session.Appeared(service)) return;
    APPLIST_LOG(kError, "%s: cannot follow the service: %s", m_session.Errors().Endpoint().c_str(),
                result < 0 ? std::strerror(-result) : "nothing can be sent");
    m_link.GiveUp();
}

// Whatever has arrived counts, although the bus was faster with the news that the service has left.
// Calls that its answers lead to must not go to it any more.
void RemoteLink::Gone() {
    if (IsReliable()) {
        m_session.Hold();
        m_channel.ReadToEnd(Now() + remote_limits::kLastWordsTimeout);
    }
    m_channelAt = Time::max();
    m_carrier.Drop();
    m_channel.Close();
    m_session.Gone(m_link.Location().description);
}

// ---- The way ------------------------------------------------------------------------------------

void RemoteLink::OnCounted() {
    if (!m_session.HasUnderWay()) AskForChannel();
}

void RemoteLink::AskForChannel() {
    if (std::exchange(m_channelAt, Time::max()) == Time::max()) return;
    const Time deadline = Now() + remote_limits::kChannelTimeout;
    int result = -ENOMEM;
    Guarded("asking for a channel", [&] {
        if (!m_lacksAnswer) result = m_channel.Ask(m_carrier.GetWay(), deadline);
        if (result < 0) result = m_carrier.AskToConnect();
    });
    if (result < 0) m_link.GiveUp();
}

void RemoteLink::OnChannelConfirmed(const std::optional<std::string>& noPlace) {
    if (noPlace) {
        m_session.HadNoPlace(*noPlace);
    } else {
        m_session.Joined();
    }
    AskForSeam();
}

// A call that was given up may still be executed, and a notification will be when its turn comes:
// both must not come after what follows them. Only over the bus are they sure not to.
void RemoteLink::Switch() {
    if (m_lacksAnswer || Now() >= m_channelAt) AskForChannel();  // answers are not waited for
    if (IsReliable() || !m_channel.IsConfirmed()) return;
    if (m_lacksAnswer) {
        return m_channel.GiveUp("something is on its way over the bus that nobody will answer");
    }
    if (!m_asksForSeam && !m_session.HasUnderWay()) AskForSeam();
}

// Without a question there is no answer, and what is held would wait for ever.
void RemoteLink::AskForSeam() {
    int result = -ENOMEM;
    Guarded("asking over the bus", [&] { result = m_carrier.AskForSeam(); });
    m_asksForSeam = result >= 0;
    if (!m_asksForSeam) m_channel.GiveUp("the bus takes no question");
}

// As a rule what was under way has been answered before. If not, or if more was sent meanwhile,
// nothing new is sent until those are answered, and then it is asked once more.
void RemoteLink::OnSeam(bool isAnswered) {
    m_asksForSeam = false;
    if (!isAnswered) return m_channel.GiveUp("a question over the bus was not answered");
    if (m_lacksAnswer) return Switch();
    if (m_session.HasUnderWay()) return m_session.Hold();
    if (!Guarded("taking a channel", [this] { TakeChannel(); })) OnStuck();
}

void RemoteLink::TakeChannel() {
    // Said, because whoever watches the bus sees nothing more of this partner.
    APPLIST_LOG(kInfo, "%s: the service is called over a direct channel",
                m_session.Errors().Endpoint().c_str());
    if (m_carrier.Use(m_channel.GetWay()) < 0 || m_channel.Resume() < 0 ||
        !m_session.Moved(/* isConnected */ true)) {
        m_channel.GiveUp("nothing can be sent over it");
    }
}

// What has begun over the bus goes on there.
void RemoteLink::OnChannelEnded() {
    if (!Guarded("going on over the bus", [this] { UseBusAgain(); })) m_link.GiveUp();
}

void RemoteLink::UseBusAgain() {
    const bool wasUsed = IsReliable();
    int result = 0;
    if (wasUsed) {
        result = m_carrier.Use(Way{m_link.Bus(), m_session.Service()});
        if (result >= 0 && !m_session.Moved(/* isConnected */ false)) result = -ENOTCONN;
    } else {
        result = m_carrier.AskToConnect();
        m_carrier.ForgetSeam();
        m_session.Release();
    }
    if (result < 0) m_link.GiveUp();
}

void RemoteLink::OnStuck() {
    if (!IsReliable()) return m_link.GiveUp();
    m_channel.Failed();
}

void RemoteLink::OnAnswer(CallId call, std::optional<RemoteReply> reply) {
    m_session.Answered(call, std::move(reply));
    AskForChannel();
    Switch();
}

// ---- For the session ----------------------------------------------------------------------------

RemoteLink::Time RemoteLink::Now() const {
    return std::chrono::duration_cast<Time>(std::chrono::steady_clock::now().time_since_epoch());
}

bool RemoteLink::IsOpen() const {
    return !m_session.Service().empty() && m_carrier.IsOpen();
}

int RemoteLink::SendCall(CallId call, const std::vector<char>& request) {
    return m_carrier.Calls().Send(call, request);
}

void RemoteLink::Forget(CallId call) {
    m_lacksAnswer = true;
    m_carrier.Calls().Forget(call);
}

int RemoteLink::SendUnanswered(const std::vector<char>& request) {
    return m_carrier.Calls().SendUnanswered(request);
}

int RemoteLink::SendAwaited(const std::vector<char>& request, Time deadline) {
    const Time left = std::max(deadline - Now(), Time(1));  // 0 would mean the library's default
    return m_carrier.Calls().SendAwaited(request, left);
}

int RemoteLink::SendNotification(const std::vector<char>& body) {
    m_lacksAnswer = true;
    return m_carrier.SendNotification(body);
}

// Ends early when the connection does.
void RemoteLink::Pause(Time until) {
    struct pollfd connection = {sd_bus_get_fd(m_carrier.GetWay().connection), 0, 0};
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - Now());
    if (left.count() > 0) poll(&connection, 1, static_cast<int>(left.count()));
}

// When a channel can be had, connecting over it is what confirms it. If it fails, this is made up
// for.
int RemoteLink::AskToConnect() {
    return m_channelAt != Time::max() ? 0 : m_carrier.AskToConnect();
}

// A message is current exactly while one of its callbacks runs. sd-bus refuses to dispatch another
// one then.
bool RemoteLink::IsDispatching() const {
    return IsInside(m_link.Bus()) || IsInside(m_channel.Connection());
}

void RemoteLink::CatchUp() {
    m_link.CatchUp();
    Switch();
}

bool RemoteLink::Dispatch(Time deadline) {
    if (IsDispatching()) return false;
    CatchUp();
    const bool hasRead = m_channel.Process();
    if (m_link.Bus() == nullptr) return false;
    const int result = sd_bus_process(m_link.Bus(), nullptr);
    if (result != 0 || hasRead) return result >= 0;
    m_channel.CatchUp(Now());
    return Wait(std::min({deadline, m_link.Due(), m_channel.Due(), m_channelAt}));
}

// Returns false when the connection to the bus has ended.
bool RemoteLink::Wait(Time until) const {
    struct pollfd connections[] = {WaitOf(m_link.Bus(), until),
                                   WaitOf(m_channel.Readable(), until)};
    if (connections[0].fd < 0) return false;
    const Time left = until - Now();
    if (left.count() <= 0) return true;
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(left);
    const std::chrono::nanoseconds rest = left - seconds;
    const struct timespec timeout = {static_cast<time_t>(seconds.count()),
                                     static_cast<long>(rest.count())};
    ppoll(connections, 2, &timeout, nullptr);  // interrupted, it has waited for a little less
    return true;
}

// ---- Time ---------------------------------------------------------------------------------------

void RemoteLink::MakeTimer() {
    sd_event_source* source = nullptr;
    int result = sd_event_add_time(m_link.Loop(), &source, CLOCK_MONOTONIC, UINT64_MAX,
                                   kTimerAccuracy, OnTime, this);
    m_timer.reset(source);
    if (result >= 0) result = sd_event_source_set_enabled(source, SD_EVENT_ON);
    if (result >= 0) result = sd_event_source_set_prepare(source, OnPrepare);
    if (result < 0) throw TransportError(Joined({"cannot make a timer: ", std::strerror(-result)}));
}

int RemoteLink::OnPrepare(sd_event_source* source, void* userdata) {
    const auto* const link = static_cast<RemoteLink*>(userdata);
    const Time due = std::min(link->m_session.Due(), link->m_channelAt);
    return sd_event_source_set_time(source, due == Time::max() ? UINT64_MAX : Microseconds(due));
}

int RemoteLink::OnTime(sd_event_source*, std::uint64_t, void* userdata) {
    // A handler of what is overdue may destroy the owner.
    const auto self = static_cast<RemoteLink*>(userdata)->shared_from_this();
    Guarded("handling the timer", [&] { self->m_session.TimePassed(); });
    self->Switch();
    return 0;
}

}  // namespace applist
