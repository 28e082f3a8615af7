#include "remote/RemoteLink.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <utility>

#include "bus/BusNames.h"
#include "bus/BusProbe.h"
#include "bus/EndpointNames.h"
#include "bus/TransportError.h"
#include "remote/BusCallback.h"
#include "remote/RemoteLimits.h"

namespace applist {

using logging::kError;

namespace {

const char kProperties[] = "org.freedesktop.DBus.Properties";

constexpr std::uint64_t kTimerAccuracy = 1000;  // microseconds

std::uint64_t Microseconds(std::chrono::microseconds time) {
    return static_cast<std::uint64_t>(time.count());
}

// True for an error that the service itself sent, and neither the bus nor the bus library.
bool IsOfTheServicesOwn(const sd_bus_error& error) {
    return sd_bus_error_has_names(&error, SD_BUS_ERROR_ACCESS_DENIED, SD_BUS_ERROR_SERVICE_UNKNOWN,
                                  SD_BUS_ERROR_NAME_HAS_NO_OWNER, SD_BUS_ERROR_NO_REPLY,
                                  SD_BUS_ERROR_TIMEOUT) <= 0;
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
      m_calls(
          m_session.Errors(), [this] { return KeepAlive(); },
          [this](CallId call, std::optional<RemoteReply> reply) {
              m_session.Answered(call, std::move(reply));
          }) {
    MakeTimer();
}

// ---- For the owner ------------------------------------------------------------------------------

void RemoteLink::Close() {
    bool hasSent = true;
    Guarded("sending the last calls",
            [&] { hasSent = m_session.Close(Now() + remote_limits::kFlushTimeout); });
    if (hasSent) AwaitBus(Now() + remote_limits::kFlushTimeout);
    m_link.Close();
}

// A bus discards what it has not read yet of a connection that closes. Its answer to any question
// shows that it has read all that was sent before. After a signal to this process the answer to the
// first question is not waited for any more, so another one is asked.
void RemoteLink::AwaitBus(Time deadline) {
    if (sd_bus_is_ready(m_link.Bus()) <= 0) return;
    Time left = deadline - Now();
    while (left.count() > 0 && AskBus(left) == -EINTR) left = deadline - Now();
}

int RemoteLink::AskBus(Time timeout) {
    const UniqueMessage question = QuestionToTheBus(m_link.Bus());
    if (!question) return -ENOMEM;
    return sd_bus_call(m_link.Bus(), question.get(), Microseconds(timeout), nullptr, nullptr);
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
        throw TransportError("cannot use " + m_link.Location().description + ": " +
                             std::strerror(-result));
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
    // By the unique name: the service that owns the name next has a match of its own.
    const std::string match = "type='signal',sender='" + service + "',path='" +
                              endpoint_names::PathOf(m_session.Errors().Endpoint()) +
                              "',interface='" + endpoint_names::kInterface + "',member='" +
                              endpoint_names::kNotification + "'";
    sd_bus_slot* slot = nullptr;
    const int result = sd_bus_add_match_async(
        m_link.Bus(), &slot, match.c_str(), kOnSignal<RemoteLink, &RemoteLink::OnNotification>,
        kOnReply<RemoteLink, &RemoteLink::OnSubscribed>, this);
    m_signalMatch.reset(slot);
    m_calls.SetDestination(m_link.Bus(), service);
    if (result >= 0 && m_session.Appeared(service)) return;
    APPLIST_LOG(kError, "%s: cannot follow the service: %s", m_session.Errors().Endpoint().c_str(),
                result < 0 ? std::strerror(-result) : "nothing can be sent");
    m_link.GiveUp();
}

void RemoteLink::Gone() {
    m_signalMatch.reset();
    m_connectAnswer.reset();
    m_countAnswer.reset();
    m_session.Gone(m_link.Location().description);
}

// Without this callback sd-bus would close the whole connection when one match is refused.
void RemoteLink::OnSubscribed(sd_bus_message* answer) {
    const sd_bus_error* const refusal = sd_bus_message_get_error(answer);
    if (refusal == nullptr || !bus_names::IsFromDriver(answer) ||
        sd_bus_is_open(m_link.Bus()) <= 0) {
        return;
    }
    APPLIST_LOG(kError, "%s: the bus does not let the service's notifications through: %s",
                m_session.Errors().Endpoint().c_str(), TextOf(*refusal).c_str());
}

// ---- For the session ----------------------------------------------------------------------------

RemoteLink::Time RemoteLink::Now() const {
    return std::chrono::duration_cast<Time>(std::chrono::steady_clock::now().time_since_epoch());
}

bool RemoteLink::IsOpen() const {
    return !m_session.Service().empty() && sd_bus_is_open(m_link.Bus()) > 0;
}

std::uint64_t RemoteLink::Queued() const {
    std::uint64_t queued = 0;
    return sd_bus_get_n_queued_write(m_link.Bus(), &queued) < 0 ? 0 : queued;
}

int RemoteLink::SendCall(CallId call, const std::vector<char>& request) {
    return m_calls.Send(call, request);
}

int RemoteLink::SendUnanswered(const std::vector<char>& request) {
    return m_calls.SendUnanswered(request);
}

int RemoteLink::SendAwaited(const std::vector<char>& request, Time deadline) {
    const Time left = std::max(deadline - Now(), Time(1));  // 0 would mean the library's default
    return m_calls.SendAwaited(request, left);
}

// Ends early when the connection does.
void RemoteLink::Pause(Time until) {
    struct pollfd connection = {sd_bus_get_fd(m_link.Bus()), 0, 0};
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - Now());
    if (left.count() > 0) poll(&connection, 1, static_cast<int>(left.count()));
}

int RemoteLink::NewCall(UniqueMessage& message, const char* interface, const char* member) const {
    sd_bus_message* made = nullptr;
    const int result = sd_bus_message_new_method_call(
        m_link.Bus(), &made, m_session.Service().c_str(),
        endpoint_names::PathOf(m_session.Errors().Endpoint()).c_str(), interface, member);
    message.reset(made);
    return result;
}

int RemoteLink::SendNotification(const std::vector<char>& body) {
    // No reply will tell whether the bus reads these, so only this bounds how many pile up.
    if (Queued() >= remote_limits::kMaxQueuedMessages) return -ENOBUFS;
    UniqueMessage message;
    int result = NewCall(message, endpoint_names::kInterface, "Notify");
    if (result >= 0) result = sd_bus_message_set_expect_reply(message.get(), 0);
    if (result >= 0) {
        result = sd_bus_message_append_array(message.get(), 'y', body.data(), body.size());
    }
    return result < 0 ? result : sd_bus_send(m_link.Bus(), message.get(), nullptr);
}

int RemoteLink::AskToConnect() {
    UniqueMessage message;
    int result = NewCall(message, endpoint_names::kInterface, "Connect");
    sd_bus_slot* slot = nullptr;
    if (result >= 0) {
        result = sd_bus_call_async(m_link.Bus(), &slot, message.get(),
                                   kOnReply<RemoteLink, &RemoteLink::OnConnected>, this, 0);
    }
    m_connectAnswer.reset(slot);
    return result;
}

void RemoteLink::OnConnected(sd_bus_message* answer) {
    m_connectAnswer.reset();
    const sd_bus_error* const refusal = sd_bus_message_get_error(answer);
    if (!IsFromService(answer) || (refusal != nullptr && IsSilence(*refusal))) {
        // It stands, or we were away for long. Without its answer it may never become usable.
        if (sd_bus_is_open(m_link.Bus()) > 0 && AskToConnect() < 0) m_link.GiveUp();
        return;
    }
    if (refusal != nullptr && sd_bus_error_has_name(refusal, SD_BUS_ERROR_LIMITS_EXCEEDED) > 0) {
        return m_session.HadNoPlace(TextOf(*refusal));
    }
    if (refusal != nullptr) {
        APPLIST_LOG(kError, "%s: cannot connect to the service: %s",
                    m_session.Errors().Endpoint().c_str(), TextOf(*refusal).c_str());
    }
    // Even a service that refuses has shown that it is alive.
    if (refusal == nullptr || IsOfTheServicesOwn(*refusal)) m_session.Joined();
}

// A stranger's answer has used up the question: it is asked again.
bool RemoteLink::IsFromService(sd_bus_message* answer) const {
    return bus_names::IsAnswerOf(m_session.Service(), answer);
}

int RemoteLink::AskForCount() {
    UniqueMessage message;
    int result = NewCall(message, kProperties, "Get");
    if (result >= 0) {
        result = sd_bus_message_append(message.get(), "ss", endpoint_names::kInterface, "Serial");
    }
    sd_bus_slot* slot = nullptr;
    if (result >= 0) {
        result = sd_bus_call_async(m_link.Bus(), &slot, message.get(),
                                   kOnReply<RemoteLink, &RemoteLink::OnCount>, this, 0);
    }
    m_countAnswer.reset(slot);  // and with it goes an earlier question
    return result;
}

void RemoteLink::OnCount(sd_bus_message* answer) {
    m_countAnswer.reset();
    if (!IsFromService(answer)) {
        if (AskForCount() < 0) m_link.GiveUp();
        return;
    }
    const sd_bus_error* const error = sd_bus_message_get_error(answer);
    std::uint64_t count = 0;
    if (error == nullptr) {
        if (sd_bus_message_read(answer, "v", "t", &count) >= 0) {
            return m_session.Counted(count, std::string());
        }
        return m_session.Counted(std::nullopt, "it is not a number");
    }
    if (sd_bus_error_has_names(error, SD_BUS_ERROR_SERVICE_UNKNOWN,
                               SD_BUS_ERROR_NAME_HAS_NO_OWNER) > 0) {
        return m_service.Ask();  // it has left: who owns the name now?
    }
    // Silence says nothing about the count; the watch asks again by itself.
    if (IsSilence(*error)) return;
    m_session.Counted(std::nullopt, TextOf(*error));
}

// The match does not prove who the sender is: a signal sent to us alone bypasses it, and anybody
// can send one. So the sender is looked at, and the type of the body, too.
void RemoteLink::OnNotification(sd_bus_message* signal) {
    const char* const sender = sd_bus_message_get_sender(signal);
    const void* bytes = nullptr;
    std::size_t size = 0;
    if (sender == nullptr || m_session.Service() != sender ||
        sd_bus_message_has_signature(signal, "ay") <= 0 ||
        sd_bus_message_read_array(signal, 'y', &bytes, &size) < 0) {
        return;
    }
    const char* const begin = static_cast<const char*>(bytes);
    m_session.Notified(std::vector<char>(begin, begin + size),
                       sd_bus_message_get_destination(signal) == nullptr);
}

// A message is current exactly while one of its callbacks runs. sd-bus refuses to dispatch another
// one then.
bool RemoteLink::IsDispatching() const {
    return m_link.Bus() != nullptr && sd_bus_get_current_message(m_link.Bus()) != nullptr;
}

bool RemoteLink::Dispatch(Time deadline) {
    if (!IsDispatching()) CatchUp();
    sd_bus* const bus = m_link.Bus();
    if (bus == nullptr) return false;
    const int result = sd_bus_process(bus, nullptr);
    if (result != 0) return result > 0;
    const Time left = std::min(deadline, m_link.Due()) - Now();
    if (left.count() <= 0) return true;  // false would say that the connection has ended
    const int waited = sd_bus_wait(bus, Microseconds(left));
    return waited >= 0 || waited == -EINTR;
}

// ---- Time ---------------------------------------------------------------------------------------

void RemoteLink::MakeTimer() {
    sd_event_source* source = nullptr;
    int result = sd_event_add_time(m_link.Loop(), &source, CLOCK_MONOTONIC, UINT64_MAX,
                                   kTimerAccuracy, OnTime, this);
    m_timer.reset(source);
    if (result >= 0) result = sd_event_source_set_enabled(source, SD_EVENT_ON);
    if (result >= 0) result = sd_event_source_set_prepare(source, OnPrepare);
    if (result < 0)
        throw TransportError(std::string("cannot make a timer: ") + std::strerror(-result));
}

int RemoteLink::OnPrepare(sd_event_source* source, void* userdata) {
    const Time due = static_cast<RemoteLink*>(userdata)->m_session.Due();
    return sd_event_source_set_time(source, due == Time::max() ? UINT64_MAX : Microseconds(due));
}

int RemoteLink::OnTime(sd_event_source*, std::uint64_t, void* userdata) {
    // A handler of what is overdue may destroy the owner.
    const auto self = static_cast<RemoteLink*>(userdata)->shared_from_this();
    Guarded("handling the timer", [&] { self->m_session.TimePassed(); });
    return 0;
}

}  // namespace applist
