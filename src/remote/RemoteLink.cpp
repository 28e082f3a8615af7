#include "remote/RemoteLink.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <utility>

#include "bus/EndpointNames.h"
#include "bus/TransportLimits.h"
#include "remote/RemoteLimits.h"

namespace applist {

using logging::kDebug;
using logging::kError;
using Cause = RemoteError::Cause;
using Clock = std::chrono::steady_clock;

namespace {

const char kDriver[] = "org.freedesktop.DBus";
const char kDriverPath[] = "/org/freedesktop/DBus";
const char kProperties[] = "org.freedesktop.DBus.Properties";

// The name of the process `pid`; empty when it is not ours to see.
std::string CommandOf(std::uint32_t pid) {
    std::ifstream file("/proc/" + std::to_string(pid) + "/comm");
    std::string command;
    std::getline(file, command);
    return command;
}

std::uint64_t Microseconds(std::chrono::microseconds time) {
    return static_cast<std::uint64_t>(time.count());
}

}  // namespace

RemoteLink::RemoteLink(TesselDbusRemote& owner, const std::string& name)
    : m_owner(&owner),
      m_name(name),
      m_timeout(remote_limits::kDefaultTimeout),
      m_link([this] { SetUp(); },
             [this] {
                 const auto self = shared_from_this();
                 Lost();
             },
             remote_limits::kLastRetry),
      m_calls(
          name, [this] { return shared_from_this(); },
          [this] {
              m_isSuspect = true;
              Compare();
          }) {}

// ---- For the owner ------------------------------------------------------------------------------

void RemoteLink::Close() {
    m_owner = nullptr;
    m_later = nullptr;
    m_calls.Close();
    m_ownerMatch.reset();
    m_signalMatch.reset();
    m_serialAnswer.reset();
    m_compareTimer.reset();
    m_laterTimer.reset();
    const Clock::time_point deadline = Clock::now() + remote_limits::kFlushTimeout;
    // Inside a callback of the bus nothing is dispatched: then the service is known, or there is
    // nobody to send to.
    DispatchUntil([this] { return !m_calls.Waiting() || m_calls.HasService(); }, deadline);
    Guarded("sending what waits", [this] { m_calls.SendUnanswered(); });
    AwaitBus(deadline);
}

// A bus forgets what it has not read of a connection that is closed. It answers when it has read
// everything before.
void RemoteLink::AwaitBus(Clock::time_point deadline) const {
    const auto left =
        std::chrono::duration_cast<std::chrono::microseconds>(deadline - Clock::now());
    sd_bus_message* ping = nullptr;
    if (left.count() <= 0 || sd_bus_is_ready(m_link.Bus()) <= 0 ||
        sd_bus_message_new_method_call(m_link.Bus(), &ping, kDriver, kDriverPath,
                                       "org.freedesktop.DBus.Peer", "Ping") < 0) {
        return;
    }
    sd_bus_call(m_link.Bus(), UniqueMessage(ping).get(), Microseconds(left), nullptr, nullptr);
}

void RemoteLink::Post(std::vector<char> request, ReplyHandler onReply) {
    const auto self = shared_from_this();
    m_calls.Post(std::move(request), std::move(onReply));
}

std::vector<char> RemoteLink::Send(std::vector<char> request) {
    const auto self = shared_from_this();
    const Clock::time_point deadline = Clock::now() + m_timeout;
    if (IsInsideCallback()) {
        throw RemoteError(Cause::Failed,
                          m_name + ": waiting from inside a listener; wait from the loop instead");
    }
    DispatchUntil([&] { return m_calls.HasRoomFor(request.size()) || m_owner == nullptr; },
                  deadline);
    // Outlives this call: the reply may come after we have given up.
    const auto reply = std::make_shared<RemoteReply>();
    const auto isDone = std::make_shared<bool>(false);
    if (m_owner != nullptr) {
        m_calls.Post(std::move(request), [reply, isDone](RemoteReply& answer) {
            *reply = std::move(answer);
            *isDone = true;
        });
        DispatchUntil([&] { return *isDone || m_owner == nullptr; }, deadline);
    }
    if (m_owner == nullptr) {
        throw RemoteError(Cause::OutcomeUnknown,
                          m_name + ": destroyed while waiting for a reply; do so after the wait");
    }
    if (reply->error) throw RemoteError(*reply->error);
    if (*isDone) return std::move(reply->body);
    m_isSuspect = true;
    throw m_calls.NoAnswer();
}

// Inside a reply's handler no other reply is delivered, inside other callbacks of the bus none is
// dispatched.
bool RemoteLink::IsInsideCallback() const {
    return m_calls.Delivering() ||
           (m_link.Bus() != nullptr && sd_bus_get_current_message(m_link.Bus()) != nullptr);
}

void RemoteLink::SetTimeout(std::chrono::microseconds timeout) {
    m_timeout = timeout;
    m_calls.SetTimeout(timeout);
}

void RemoteLink::Notify(const std::vector<char>& body) {
    if (m_service.empty()) return;
    std::uint64_t queued = 0;
    sd_bus_get_n_queued_write(m_link.Bus(), &queued);
    if (queued >= transport_limits::kMaxLibraryMessages) {
        APPLIST_LOG(kDebug, "%s: the bus takes nothing; a notification is dropped", m_name.c_str());
        return;
    }
    const UniqueMessage message = NewCall(endpoint_names::kInterface, "Notify");
    int result = sd_bus_message_set_expect_reply(message.get(), 0);
    if (result >= 0)
        result = sd_bus_message_append_array(message.get(), 'y', body.data(), body.size());
    if (result >= 0) result = sd_bus_send(m_link.Bus(), message.get(), nullptr);
    if (result < 0) APPLIST_LOG(kError, "cannot notify the service: %s", std::strerror(-result));
}

void RemoteLink::CallLater(std::chrono::microseconds delay, std::function<void()> callback) {
    sd_event_source* source = nullptr;
    const int result = sd_event_add_time_relative(m_link.Loop(), &source, CLOCK_MONOTONIC,
                                                  Microseconds(delay), 1000, OnLater, this);
    m_laterTimer.reset(source);
    m_later = std::move(callback);
    if (result < 0) APPLIST_LOG(kError, "cannot wait: %s", std::strerror(-result));
}

int RemoteLink::OnLater(sd_event_source*, std::uint64_t, void* userdata) {
    const auto self = static_cast<RemoteLink*>(userdata)->shared_from_this();
    self->m_laterTimer.reset();
    const std::function<void()> later = std::exchange(self->m_later, nullptr);
    Guarded("calling later", later);
    return 0;
}

// One step at a time, in the order of arrival: a reply that were taken out of the middle of the
// queue would overtake the events before it.
bool RemoteLink::DispatchUntil(const std::function<bool()>& done, Clock::time_point deadline) {
    while (!done()) {
        sd_bus* const bus = m_link.Bus();
        if (bus == nullptr) return true;
        const int result = sd_bus_process(bus, nullptr);
        if (result == -EBUSY) return false;
        if (result < 0) return true;
        const auto left =
            std::chrono::duration_cast<std::chrono::microseconds>(deadline - Clock::now());
        if (left.count() <= 0) return true;
        if (result > 0) continue;
        const int waited = sd_bus_wait(bus, Microseconds(left));
        if (waited < 0 && waited != -EINTR) return true;
    }
    return true;
}

// ---- The bus ------------------------------------------------------------------------------------

template <RemoteLink::Callback callback>
int RemoteLink::On(sd_bus_message* message, void* userdata, sd_bus_error*) {
    const auto self = static_cast<RemoteLink*>(userdata)->shared_from_this();
    Guarded("following the service", [&] { (self.get()->*callback)(message); });
    return 0;
}

UniqueMessage RemoteLink::NewCall(const char* interface, const char* member) const {
    sd_bus_message* message = nullptr;
    const int result =
        sd_bus_message_new_method_call(m_link.Bus(), &message, m_service.c_str(),
                                       endpoint_names::PathOf(m_name).c_str(), interface, member);
    if (result < 0)
        throw TransportError(m_name + ": cannot make a call: " + std::strerror(-result));
    return UniqueMessage(message);
}

void RemoteLink::CallDriver(UniqueSlot& slot, const char* member, const std::string& argument,
                            sd_bus_message_handler_t onAnswer) {
    sd_bus_slot* made = nullptr;
    const int result = sd_bus_call_method_async(m_link.Bus(), &made, kDriver, kDriverPath, kDriver,
                                                member, onAnswer, this, "s", argument.c_str());
    slot.reset(made);
    if (result < 0)
        throw TransportError(m_name + ": cannot ask the bus: " + std::strerror(-result));
}

void RemoteLink::SetUp() {
    const std::string name = endpoint_names::BusNameOf(m_name);
    m_calls.Expect();
    // A busy program looks at its bus late, and the library counts that as the bus's silence.
    int result =
        sd_bus_set_method_call_timeout(m_link.Bus(), Microseconds(remote_limits::kCompareTimeout));
    if (result >= 0)
        result = sd_bus_attach_event(m_link.Bus(), m_link.Loop(), SD_EVENT_PRIORITY_NORMAL);
    sd_bus_slot* slot = nullptr;
    if (result >= 0) {
        const std::string match = std::string("type='signal',sender='") + kDriver + "',path='" +
                                  kDriverPath + "',interface='" + kDriver +
                                  "',member='NameOwnerChanged',arg0='" + name + "'";
        result = sd_bus_add_match_async(m_link.Bus(), &slot, match.c_str(),
                                        On<&RemoteLink::OnOwnerChanged>,
                                        On<&RemoteLink::OnMatchInstalled>, this);
    }
    m_ownerMatch.reset(slot);
    if (result < 0) {
        throw TransportError(m_name + ": cannot follow " + name + " on " +
                             m_link.Location().description + ": " + std::strerror(-result));
    }
    // After the match, so that a service which appears in between is seen by one of the two.
    AskForOwner();
    CallDriver(m_busAnswer, "GetConnectionUnixProcessID", kDriver, On<&RemoteLink::OnBusProcess>);
}

void RemoteLink::Lost() {
    m_ownerMatch.reset();
    m_ownerAnswer.reset();
    m_busAnswer.reset();
    Gone();
}

void RemoteLink::OnBusProcess(sd_bus_message* answer) {
    std::uint32_t pid = 0;
    if (sd_bus_message_read(answer, "u", &pid) < 0) return;
    const bool isBroker = CommandOf(pid).rfind("dbus-broker", 0) == 0;
    m_calls.SetFdBytes(isBroker ? remote_limits::kFdBytesOverBroker
                                : remote_limits::kFdBytesOverDaemon);
}

// Without a callback of ours sd-bus would close the whole connection over one refused match.
void RemoteLink::OnMatchInstalled(sd_bus_message* answer) {
    const sd_bus_error* refusal = sd_bus_message_get_error(answer);
    if (refusal == nullptr || sd_bus_is_open(m_link.Bus()) <= 0) return;
    APPLIST_LOG(kError, "%s: the bus does not tell us of the service: %s", m_name.c_str(),
                refusal->message);
}

// ---- The service --------------------------------------------------------------------------------

void RemoteLink::AskForOwner() {
    CallDriver(m_ownerAnswer, "GetNameOwner", endpoint_names::BusNameOf(m_name),
               On<&RemoteLink::OnOwner>);
}

void RemoteLink::OnOwner(sd_bus_message* answer) {
    m_ownerAnswer.reset();
    const sd_bus_error* error = sd_bus_message_get_error(answer);
    if (error != nullptr &&
        sd_bus_error_has_names(error, SD_BUS_ERROR_NO_REPLY, SD_BUS_ERROR_TIMEOUT) > 0) {
        // Nothing was said of the service. A connection that ends is tried anew elsewhere.
        if (sd_bus_is_open(m_link.Bus()) > 0) AskForOwner();
        return;
    }
    const char* owner = "";
    if (error == nullptr) sd_bus_message_read(answer, "s", &owner);
    OwnedBy(owner);
}

// By nobody when `service` is empty.
void RemoteLink::OwnedBy(const std::string& service) {
    if (!m_service.empty() && m_service == service) return;
    m_link.Settled();
    const bool wasOpen = m_owner != nullptr;
    // Calls that waited for the first news of a service are not failed by it.
    if (!m_service.empty() || service.empty()) Gone();
    const bool wasClosedMeanwhile = wasOpen && m_owner == nullptr;
    // One that was closed before has calls to send.
    if (!service.empty() && !wasClosedMeanwhile) Appeared(service);
}

void RemoteLink::OnOwnerChanged(sd_bus_message* signal) {
    const char* name = nullptr;
    const char* before = nullptr;
    const char* now = nullptr;
    if (sd_bus_message_read(signal, "sss", &name, &before, &now) < 0) return;
    OwnedBy(now);
}

// First the subscription, then the connection, then the count: between the last two nothing can be
// missed, and what is counted from here on is what the service counts.
void RemoteLink::Appeared(const std::string& service) {
    m_service = service;
    const std::string match = "type='signal',sender='" + service + "',path='" +
                              endpoint_names::PathOf(m_name) + "',interface='" +
                              endpoint_names::kInterface + "',member='" +
                              endpoint_names::kNotification + "'";
    sd_bus_slot* slot = nullptr;
    int result =
        sd_bus_add_match_async(m_link.Bus(), &slot, match.c_str(), On<&RemoteLink::OnNotification>,
                               On<&RemoteLink::OnMatchInstalled>, this);
    m_signalMatch.reset(slot);
    if (result >= 0) {
        slot = nullptr;
        const UniqueMessage connect = NewCall(endpoint_names::kInterface, "Connect");
        result = sd_bus_call_async(m_link.Bus(), &slot, connect.get(), On<&RemoteLink::OnConnected>,
                                   this, Microseconds(remote_limits::kCompareTimeout));
        m_connectAnswer.reset(slot);
    }
    if (result < 0) {
        APPLIST_LOG(kError, "%s: cannot follow the service: %s", m_name.c_str(),
                    std::strerror(-result));
        return m_link.GiveUp();
    }
    if (!Guarded("comparing with the service", [this] { Compare(); })) return m_link.GiveUp();
    m_calls.Start(m_link.Bus(), service);
}

void RemoteLink::Gone() {
    const std::string service = std::exchange(m_service, std::string());
    m_isReady = false;
    m_isConnected = false;
    m_isCountRefused = false;
    m_signalMatch.reset();
    m_connectAnswer.reset();
    m_serialAnswer.reset();
    m_compareTimer.reset();
    m_isSuspect = false;
    m_comparesSoon = false;
    m_calls.Stop(m_link.Location().description);
    // Also when it never became ready: it may have answered calls all the same.
    if (!service.empty() && m_owner != nullptr) m_owner->HandleConnectionReady(false, service);
}

void RemoteLink::OnConnected(sd_bus_message* answer) {
    m_connectAnswer.reset();
    const sd_bus_error* refusal = sd_bus_message_get_error(answer);
    if (refusal == nullptr) {
        m_isConnected = true;
        if (m_isCountRefused) Compare();
        return;
    }
    APPLIST_LOG(kError, "%s: the service does not connect: %s", m_name.c_str(),
                refusal->message == nullptr ? refusal->name : refusal->message);
}

// ---- Notifications ------------------------------------------------------------------------------

void RemoteLink::OnNotification(sd_bus_message* signal) {
    const void* bytes = nullptr;
    std::size_t size = 0;
    if (sd_bus_message_has_signature(signal, "ay") <= 0 ||
        sd_bus_message_read_array(signal, 'y', &bytes, &size) < 0) {
        return;
    }
    // The service counts those to everyone.
    if (sd_bus_message_get_destination(signal) == nullptr) ++m_received;
    if (!std::exchange(m_comparesSoon, true)) {
        CompareIn(m_serialAnswer ? remote_limits::kCompareAtRest : remote_limits::kCompareInBurst);
    }
    if (!m_isReady || m_owner == nullptr) return;
    const char* const begin = static_cast<const char*>(bytes);
    std::vector<char> body(begin, begin + size);
    m_owner->HandleNotification(body);
}

void RemoteLink::CompareIn(std::chrono::microseconds delay) {
    sd_event_source* source = nullptr;
    const int result = sd_event_add_time_relative(m_link.Loop(), &source, CLOCK_MONOTONIC,
                                                  Microseconds(delay), 10000, OnCompareTime, this);
    m_compareTimer.reset(source);
    if (result < 0) APPLIST_LOG(kError, "cannot wait: %s", std::strerror(-result));
}

int RemoteLink::OnCompareTime(sd_event_source*, std::uint64_t, void* userdata) {
    const auto self = static_cast<RemoteLink*>(userdata)->shared_from_this();
    self->m_comparesSoon = false;
    // Still awaited long after a notification came: the service runs, and the bus has dropped the
    // answer as it drops notifications.
    self->m_serialAnswer.reset();
    if (!Guarded("comparing with the service", [&] { self->Compare(); })) {
        self->CompareIn(remote_limits::kCompareAtRest);
    }
    return 0;
}

void RemoteLink::Compare() {
    if (m_serialAnswer || m_service.empty()) return;
    const UniqueMessage get = NewCall(kProperties, "Get");
    sd_bus_slot* slot = nullptr;
    int result = sd_bus_message_append(get.get(), "ss", endpoint_names::kInterface, "Serial");
    if (result >= 0) {
        result = sd_bus_call_async(m_link.Bus(), &slot, get.get(), On<&RemoteLink::OnSerial>, this,
                                   Microseconds(remote_limits::kCompareTimeout));
    }
    m_serialAnswer.reset(slot);
    if (result < 0) throw TransportError(std::string("cannot compare: ") + std::strerror(-result));
}

// Whether a service that does not tell its count is followed all the same; else it is not usable
// now, or not there, and asked again.
bool RemoteLink::IsUsableWithout(const sd_bus_error& error) {
    if (sd_bus_error_has_names(&error, SD_BUS_ERROR_SERVICE_UNKNOWN,
                               SD_BUS_ERROR_NAME_HAS_NO_OWNER) > 0) {
        AskForOwner();
        return false;
    }
    if (sd_bus_error_has_names(&error, SD_BUS_ERROR_NO_REPLY, SD_BUS_ERROR_TIMEOUT) > 0) {
        return false;
    }
    m_isCountRefused = sd_bus_error_has_name(&error, SD_BUS_ERROR_ACCESS_DENIED) > 0;
    // The bus refuses at once, before the service answers: a policy may let calls through, and
    // nothing else.
    if (m_isCountRefused && !m_isConnected) return false;
    if (!m_isReady) {
        APPLIST_LOG(kError,
                    "%s: the service's count of notifications cannot be read, so that a lost one "
                    "goes unnoticed: %s",
                    m_name.c_str(), error.message == nullptr ? error.name : error.message);
    }
    return true;
}

// The answer follows every notification that it counts, so what has not come by now will not come.
void RemoteLink::OnSerial(sd_bus_message* answer) {
    m_serialAnswer.reset();
    CompareIn(remote_limits::kCompareAtRest);
    std::uint64_t serial = m_serial + m_received;  // nothing to compare with: nothing is missing
    const sd_bus_error* const error = sd_bus_message_get_error(answer);
    if (error == nullptr) {
        sd_bus_message_read(answer, "v", "t", &serial);
    } else if (!IsUsableWithout(*error)) {
        return;
    }
    const bool lost = serial != m_serial + m_received;
    m_serial = serial;
    m_received = 0;
    const bool wasReady = std::exchange(m_isReady, true);
    const bool wasSuspect = std::exchange(m_isSuspect, false);
    if (m_owner != nullptr && (!wasReady || lost || wasSuspect)) {
        m_owner->HandleConnectionReady(true, m_service);
    }
}

}  // namespace applist
