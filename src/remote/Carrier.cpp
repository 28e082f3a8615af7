// SPDX-License-Identifier: MIT

#include "remote/Carrier.h"

#include <poll.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <string>
#include <utility>

#include "bus/BusProbe.h"
#include "bus/EndpointNames.h"
#include "common/AppListLog.h"
#include "common/Joined.h"
#include "remote/BusCallback.h"
#include "remote/RemoteLimits.h"

namespace applist {

using logging::kError;

namespace {

const char kProperties[] = "org.freedesktop.DBus.Properties";
const char kPeer[] = "org.freedesktop.DBus.Peer";

Carrier::Time Now() {
    return std::chrono::duration_cast<Carrier::Time>(
        std::chrono::steady_clock::now().time_since_epoch());
}

// Whether the other end of a socket sends nothing more.
bool HasLeft(int socket) {
    struct pollfd end = {socket, POLLRDHUP, 0};
    return poll(&end, 1, 0) > 0;
}

// True for an error that the service itself sent, and neither the bus nor the bus library.
bool IsOfTheServicesOwn(const sd_bus_error& error) {
    return sd_bus_error_has_names(&error, SD_BUS_ERROR_ACCESS_DENIED, SD_BUS_ERROR_SERVICE_UNKNOWN,
                                  SD_BUS_ERROR_NAME_HAS_NO_OWNER, SD_BUS_ERROR_NO_REPLY,
                                  SD_BUS_ERROR_TIMEOUT) <= 0;
}

}  // namespace

Carrier::Carrier(RemoteSession& session, User& user)
    : m_session(session),
      m_user(user),
      m_calls(
          m_way, session.Errors(), [this] { return m_user.KeepAlive(); },
          [this](CallId call, std::optional<RemoteReply> reply) {
              m_user.OnAnswer(call, std::move(reply));
          }) {}

// ---- The way ------------------------------------------------------------------------------------

int Carrier::Use(Way way) {
    Drop();
    m_way = std::move(way);
    m_calls.Restart();
    if (m_way.IsDirect()) m_seam.Begin(m_toldOverBus);
    return Subscribe();
}

void Carrier::Drop() {
    m_signals.reset();
    m_connectAnswer.reset();
    m_countAnswer.reset();
    m_seamAnswer.reset();
    m_seam = EventSeam();
    m_way = Way();
}

// One match for all signals of the service, since a bus allows a connection only so many. By its
// unique name: the service that owns the name next has a match of its own.
int Carrier::Subscribe() {
    const std::string match =
        Joined({"type='signal',path='", endpoint_names::PathOf(m_session.Errors().Endpoint()),
                "',interface='", endpoint_names::kInterface, "'"});
    constexpr sd_bus_message_handler_t onSignal = kOnSignal<Carrier, &Carrier::OnSignal>;
    sd_bus_slot* slot = nullptr;
    // Over a channel the match costs no message.
    const int result =
        m_way.IsDirect()
            ? sd_bus_add_match(m_way.connection, &slot, match.c_str(), onSignal, this)
            : sd_bus_add_match_async(m_way.connection, &slot,
                                     Joined({match, ",sender='", m_way.service, "'"}).c_str(),
                                     onSignal, kOnReply<Carrier, &Carrier::OnSubscribed>, this);
    m_signals.reset(slot);
    return result;
}

// Without this callback sd-bus would close the whole connection when one match is refused.
void Carrier::OnSubscribed(sd_bus_message* answer) {
    const sd_bus_error* const refusal = sd_bus_message_get_error(answer);
    if (refusal == nullptr || !bus_names::IsFromDriver(answer) || !IsOpen()) return;
    APPLIST_LOG(kError, "%s: the bus does not let the service's notifications through: %s",
                Endpoint(), TextOf(*refusal));
}

// A service that leaves may have sent replies before. Whoever writes to a channel that was closed
// loses them: the bus library reads no more then.
bool Carrier::IsOpen() const {
    if (sd_bus_is_open(m_way.connection) <= 0) return false;
    return !m_way.IsDirect() || !HasLeft(sd_bus_get_fd(m_way.connection));
}

// ---- To the service -----------------------------------------------------------------------------

std::uint64_t Carrier::Queued() const {
    std::uint64_t queued = 0;
    return sd_bus_get_n_queued_write(m_way.connection, &queued) < 0 ? 0 : queued;
}

int Carrier::SendNotification(const std::vector<char>& body) {
    // No reply will tell whether the other end reads these, so only this bounds how many pile up.
    if (Queued() >= remote_limits::kMaxQueuedMessages) return -ENOBUFS;
    UniqueMessage message;
    int result = m_way.NewCall(message, Endpoint(), endpoint_names::kInterface, "Notify");
    if (result >= 0) result = sd_bus_message_set_expect_reply(message.get(), 0);
    if (result >= 0) {
        result = sd_bus_message_append_array(message.get(), 'y', body.data(), body.size());
    }
    return result < 0 ? result : sd_bus_send(m_way.connection, message.get(), nullptr);
}

// An earlier question that was not answered goes with its slot.
int Carrier::Ask(UniqueSlot& slot, sd_bus_message* question, sd_bus_message_handler_t onAnswer,
                 Time timeout) {
    sd_bus_slot* made = nullptr;
    const int result = sd_bus_call_async(m_way.connection, &made, question, onAnswer, this,
                                         static_cast<std::uint64_t>(timeout.count()));
    slot.reset(made);
    return result;
}

int Carrier::AskToConnect() {
    UniqueMessage message;
    const int result = m_way.NewCall(message, Endpoint(), endpoint_names::kInterface, "Connect");
    return result < 0
               ? result
               : Ask(m_connectAnswer, message.get(), kOnReply<Carrier, &Carrier::OnConnected>);
}

int Carrier::NewQuestionForCount(UniqueMessage& message) const {
    const int result = m_way.NewCall(message, Endpoint(), kProperties, "Get");
    if (result < 0) return result;
    return sd_bus_message_append(message.get(), "ss", endpoint_names::kInterface, "Serial");
}

int Carrier::AskForCount() {
    UniqueMessage message;
    const int result = NewQuestionForCount(message);
    return result < 0 ? result
                      : Ask(m_countAnswer, message.get(), kOnReply<Carrier, &Carrier::OnCount>);
}

int Carrier::AskForSeam() {
    m_toldOverBus.reset();
    UniqueMessage message;
    const int result = NewQuestionForCount(message);
    return result < 0 ? result
                      : Ask(m_seamAnswer, message.get(), kOnReply<Carrier, &Carrier::OnSeam>,
                            remote_limits::kChannelTimeout);
}

// A bus discards what it has not read yet of a connection that closes. The answer to any question
// shows that all was read that was sent before. After a signal to this process the answer to the
// first question is not waited for any more, so another one is asked.
void Carrier::AwaitRead(Time deadline) {
    if (sd_bus_is_ready(m_way.connection) <= 0) return;
    if (m_way.IsDirect()) SayFarewell();
    Time left = deadline - Now();
    while (left.count() > 0 && AwaitAnswer(left) == -EINTR) left = deadline - Now();
}

// A service that does not answer in time may stand, or be on this thread: what lies in its socket
// is still its to execute. But if our end were closed by then, its first reply would end the
// channel before the rest is read. So our end is the last thing that it reads, and is open until
// then.
void Carrier::SayFarewell() {
    sd_bus_message* made = nullptr;
    int result = sd_bus_message_new_signal(
        m_way.connection, &made, endpoint_names::PathOf(m_session.Errors().Endpoint()).c_str(),
        endpoint_names::kInterface, endpoint_names::kLeft);
    const UniqueMessage farewell(made);
    if (result >= 0) {
        result = sd_bus_message_append(made, "h", sd_bus_get_fd(m_way.connection));
    }
    if (result >= 0) sd_bus_send(m_way.connection, made, nullptr);
}

int Carrier::AwaitAnswer(Time timeout) {
    const UniqueMessage question = QuestionToTheOtherEnd();
    if (!question) return -ENOMEM;
    return sd_bus_call(m_way.connection, question.get(),
                       static_cast<std::uint64_t>(timeout.count()), nullptr, nullptr);
}

UniqueMessage Carrier::QuestionToTheOtherEnd() const {
    if (!m_way.IsDirect()) return QuestionToTheBus(m_way.connection);
    UniqueMessage question;
    m_way.NewCall(question, Endpoint(), kPeer, "Ping");
    return question;
}

// ---- From the service ---------------------------------------------------------------------------

void Carrier::OnConnected(sd_bus_message* answer) {
    m_connectAnswer.reset();
    const sd_bus_error* const refusal = sd_bus_message_get_error(answer);
    if (!m_way.IsAnswer(answer) || (refusal != nullptr && IsSilence(*refusal))) {
        // A stranger's answer has used up the question. Or the service stands, or we were away for
        // long. Without its answer it may never become usable.
        if (IsOpen() && AskToConnect() < 0) m_user.OnStuck();
        return;
    }
    if (refusal != nullptr && sd_bus_error_has_name(refusal, SD_BUS_ERROR_LIMITS_EXCEEDED) > 0) {
        return m_session.HadNoPlace(TextOf(*refusal));
    }
    if (refusal != nullptr) {
        APPLIST_LOG(kError, "%s: cannot connect to the service: %s", Endpoint(), TextOf(*refusal));
    }
    // Even a service that refuses has shown that it is alive.
    if (refusal == nullptr || IsOfTheServicesOwn(*refusal)) m_session.Joined();
}

// Whoever may not count can still tell where the answer lies between the notifications.
void Carrier::OnSeam(sd_bus_message* answer) {
    m_seamAnswer.reset();
    const sd_bus_error* const error = sd_bus_message_get_error(answer);
    std::uint64_t count = 0;
    if (error == nullptr && sd_bus_message_read(answer, "v", "t", &count) >= 0) {
        m_toldOverBus = count;
    }
    m_user.OnSeam(m_way.IsAnswer(answer) && (error == nullptr || !IsSilence(*error)));
}

void Carrier::CloseSeam(std::optional<std::uint64_t> count) {
    for (EventSeam::Event& event : m_seam.End(count)) {
        m_session.Notified(std::move(event.body), event.toEveryone);
    }
}

void Carrier::OnCount(sd_bus_message* answer) {
    m_countAnswer.reset();
    if (!m_way.IsAnswer(answer)) {
        if (AskForCount() < 0) m_user.OnStuck();
        return;
    }
    const sd_bus_error* const error = sd_bus_message_get_error(answer);
    std::uint64_t count = 0;
    if (error == nullptr && sd_bus_message_read(answer, "v", "t", &count) >= 0) {
        CloseSeam(count);
        m_session.Counted(count, std::string());
        return m_user.OnCounted();
    }
    if (error == nullptr) {
        CloseSeam(std::nullopt);
        m_session.Counted(std::nullopt, "it is not a number");
        return m_user.OnCounted();
    }
    if (sd_bus_error_has_names(error, SD_BUS_ERROR_SERVICE_UNKNOWN,
                               SD_BUS_ERROR_NAME_HAS_NO_OWNER) > 0) {
        return m_user.OnLeft();
    }
    // Silence says nothing about the count; the watch asks again by itself.
    if (IsSilence(*error)) return m_user.OnCounted();
    CloseSeam(std::nullopt);
    m_session.Counted(std::nullopt, TextOf(*error));
    m_user.OnCounted();
}

void Carrier::OnSignal(sd_bus_message* signal) {
    if (!m_way.IsSignal(signal)) return;
    const std::string member = sd_bus_message_get_member(signal);
    if (member == endpoint_names::kNotification) return OnNotification(signal);
    if (member == endpoint_names::kLost) m_session.LostSome();
}

void Carrier::OnNotification(sd_bus_message* signal) {
    const void* bytes = nullptr;
    std::size_t size = 0;
    if (sd_bus_message_has_signature(signal, "ay") <= 0 ||
        sd_bus_message_read_array(signal, 'y', &bytes, &size) < 0) {
        return;
    }
    const char* const begin = static_cast<const char*>(bytes);
    EventSeam::Event event{std::vector<char>(begin, begin + size),
                           sd_bus_message_get_destination(signal) == nullptr};
    if (!m_seam.Hold(event)) return m_session.Notified(std::move(event.body), event.toEveryone);
    if (m_seam.IsFull()) CloseSeam(std::nullopt);
}

}  // namespace applist
