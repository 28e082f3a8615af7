#include "remote/RemoteCalls.h"

#include <cerrno>
#include <cstring>
#include <utility>

#include "bus/EndpointNames.h"
#include "bus/SealedMemfd.h"
#include "bus/TransportLimits.h"
#include "common/PrintableText.h"
#include "remote/RemoteLimits.h"

namespace applist {

using Cause = RemoteError::Cause;
using Clock = std::chrono::steady_clock;

struct RemoteCalls::Call {
    RemoteCalls* calls;
    std::vector<char> request;
    ReplyHandler onReply;
    UniqueSlot slot;
    Clock::time_point deadline;
    bool isInFd = false;
    bool isDone = false;
    RemoteReply reply;
};

RemoteCalls::RemoteCalls(const std::string& endpoint,
                         std::function<std::shared_ptr<void>()> keepAlive,
                         std::function<void()> onSilence)
    : m_endpoint(endpoint),
      m_keepAlive(std::move(keepAlive)),
      m_onSilence(std::move(onSilence)),
      m_timeout(remote_limits::kDefaultTimeout),
      m_fdBytes(remote_limits::kFdBytesOverDaemon) {}

RemoteCalls::~RemoteCalls() = default;

// ---- Sending ------------------------------------------------------------------------------------

void RemoteCalls::Post(std::vector<char> request, ReplyHandler onReply) {
    RemoteReply refusal;
    if (!m_where.empty()) {
        refusal.error = NoService();
    } else if (!HasRoomFor(request.size())) {
        refusal.error = ErrorOf(Cause::TooMuch,
                                "too many calls wait to be sent; let the loop run, or synchronize, "
                                "then go on");
    }
    if (refusal.error) return onReply(refusal);
    auto call = std::make_unique<Call>();
    call->calls = this;
    call->request = std::move(request);
    call->onReply = std::move(onReply);
    // Until there is something better to say, for which there may be no memory then.
    call->reply.error = ErrorOf(Cause::Failed, "no memory for a call; free some, then try again");
    const std::size_t bytes = call->request.size();
    m_calls.push_back(std::move(call));
    m_waitingBytes += bytes;
    SendWaiting();
    Deliver();
}

bool RemoteCalls::HasRoomFor(std::size_t bytes) const {
    return !Waiting() || (m_calls.size() - m_sent < remote_limits::kMaxWaitingCalls &&
                          m_waitingBytes + bytes <= remote_limits::kMaxWaitingBytes);
}

void RemoteCalls::Expect() {
    m_service.clear();
    m_where.clear();
}

void RemoteCalls::Start(sd_bus* bus, const std::string& service) {
    m_bus = bus;
    m_service = service;
    m_where.clear();
    SendWaiting();
    Deliver();
}

void RemoteCalls::Stop(const std::string& where) {
    m_where = where;
    m_service.clear();
    for (std::size_t at = 0; at < m_calls.size(); ++at) {
        Call& call = *m_calls[at];
        if (call.isDone) continue;
        call.slot.reset();
        call.isDone = true;
        Guarded("ending a call",
                [&] { call.reply.error = at >= m_sent ? NoService() : OutcomeUnknown(); });
    }
    m_sent = m_calls.size();
    m_waitingBytes = 0;
    m_bus = nullptr;
    Deliver();
}

// While the library holds something back the bus does not drain: the next reply brings us here
// again. On a connection that ends nothing is sent, so that what waits is known not to have been.
bool RemoteCalls::MaySend() const {
    if (m_service.empty() || m_sent >= remote_limits::kMaxCallsUnderWay ||
        sd_bus_is_open(m_bus) <= 0) {
        return false;
    }
    std::uint64_t queued = 0;
    return m_sent == 0 || sd_bus_get_n_queued_write(m_bus, &queued) < 0 || queued == 0;
}

void RemoteCalls::SendWaiting() {
    while (Waiting() && MaySend()) {
        Call& call = *m_calls[m_sent];
        ++m_sent;
        m_waitingBytes -= call.request.size();
        int result = -ENOMEM;
        Guarded("sending a call", [&] { result = Transmit(call); });
        if (result >= 0) continue;
        call.isDone = true;
        Guarded("sending a call", [&] { call.reply.error = NotSent(result); });
    }
}

bool RemoteCalls::WantsFd(const std::vector<char>& request) const {
    return sd_bus_can_send(m_bus, 'h') > 0 &&
           (request.size() > m_fdBytes || request == m_largeRequest);
}

int RemoteCalls::Transmit(Call& call) {
    UniqueMessage message;
    int result = MakeMessage(call, message);
    if (result < 0) return result;
    sd_bus_slot* slot = nullptr;
    call.deadline = Clock::now() + m_timeout;
    result = sd_bus_call_async(m_bus, &slot, message.get(), OnReply, &call,
                               static_cast<std::uint64_t>(m_timeout.count()));
    call.slot.reset(slot);
    // A large one is the bus's now, and never sent again.
    if (result >= 0 && call.request.size() > remote_limits::kMaxRememberedRequest) {
        std::vector<char>().swap(call.request);
    }
    return result;
}

int RemoteCalls::MakeMessage(Call& call, UniqueMessage& message) const {
    call.isInFd = call.isInFd || WantsFd(call.request);
    if (!call.isInFd && call.request.size() > remote_limits::kMaxInlineBytes) return -EMSGSIZE;
    sd_bus_message* made = nullptr;
    const int result = sd_bus_message_new_method_call(
        m_bus, &made, m_service.c_str(), endpoint_names::PathOf(m_endpoint).c_str(),
        endpoint_names::kInterface, call.isInFd ? "MessageFd" : "Message");
    message.reset(made);
    if (result < 0) return result;
    if (!call.isInFd) {
        return sd_bus_message_append_array(made, 'y', call.request.data(), call.request.size());
    }
    const OwnedFd fd(MakeSealedBody(call.request));
    return fd.Get() < 0 ? fd.Get() : sd_bus_message_append(made, "h", fd.Get());
}

void RemoteCalls::SendUnanswered() {
    for (; Waiting() && HasService(); ++m_sent) {
        UniqueMessage message;
        int result = MakeMessage(*m_calls[m_sent], message);
        if (result >= 0) result = sd_bus_message_set_expect_reply(message.get(), 0);
        if (result >= 0) result = sd_bus_send(m_bus, message.get(), nullptr);
        if (result >= 0) continue;
        // Those behind it must not arrive without it.
        APPLIST_LOG(logging::kError, "%s: %zu calls are lost: %s", m_endpoint.c_str(),
                    m_calls.size() - m_sent, std::strerror(-result));
        return;
    }
}

// ---- Receiving ----------------------------------------------------------------------------------

int RemoteCalls::OnReply(sd_bus_message* reply, void* userdata, sd_bus_error*) {
    Call* const call = static_cast<Call*>(userdata);
    RemoteCalls* const calls = call->calls;
    const std::shared_ptr<void> owner = calls->m_keepAlive();
    if (!Guarded("taking a reply", [&] { calls->Receive(*call, reply); })) call->isDone = true;
    const bool isSilence =
        call->isDone && call->reply.error && call->reply.error->GetCause() == Cause::TimedOut;
    calls->Deliver();
    if (isSilence && !calls->m_closed) Guarded("noting a silence", calls->m_onSilence);
    return 0;
}

void RemoteCalls::Receive(Call& call, sd_bus_message* reply) {
    const sd_bus_error* error = sd_bus_message_get_error(reply);
    call.isDone = error == nullptr || !AskAgainInFd(call, *error);
    if (!call.isDone) return;
    if (error != nullptr) {
        call.reply.error = ErrorFrom(call, *error);
    } else if (ReadBody(call, reply) >= 0) {
        call.reply.error.reset();
        Remember(call);
    } else {
        call.reply.body.clear();
        call.reply.error = ErrorOf(Cause::NotUnderstood,
                                   "the reply is not understood; check that service and partner "
                                   "speak the same version");
    }
}

// Only reads have large replies: asking twice does nothing twice. They are small, and kept.
bool RemoteCalls::AskAgainInFd(Call& call, const sd_bus_error& error) {
    if (call.isInFd || call.request.empty() ||
        sd_bus_error_has_name(&error, endpoint_names::kTooLarge) <= 0 ||
        sd_bus_can_send(m_bus, 'h') <= 0) {
        return false;
    }
    call.isInFd = true;
    m_largeRequest = call.request;
    return Transmit(call) >= 0;
}

int RemoteCalls::ReadBody(Call& call, sd_bus_message* reply) {
    std::vector<char>& body = call.reply.body;
    if (!call.isInFd) {
        const void* bytes = nullptr;
        std::size_t size = 0;
        if (sd_bus_message_has_signature(reply, "ay") <= 0) return -EBADMSG;
        const int result = sd_bus_message_read_array(reply, 'y', &bytes, &size);
        if (result >= 0) {
            body.assign(static_cast<const char*>(bytes), static_cast<const char*>(bytes) + size);
        }
        return result;
    }
    int fd = -1;  // the message's own
    if (sd_bus_message_has_signature(reply, "h") <= 0 || sd_bus_message_read(reply, "h", &fd) < 0 ||
        !WhyNoSealedBody(fd, transport_limits::kMaxFdBytes).empty()) {
        return -EBADMSG;
    }
    return ReadSealedBody(fd, body);
}

// sd-bus and the bus say NoReply alike; only the clock tells a silence from a service that left.
RemoteError RemoteCalls::ErrorFrom(const Call& call, const sd_bus_error& error) const {
    std::string said = error.name;
    if (error.message != nullptr) said += std::string(": ") + error.message;
    if (said.size() > transport_limits::kMaxErrorText) said.resize(transport_limits::kMaxErrorText);
    said = PrintableText(said);
    if (sd_bus_error_has_name(&error, SD_BUS_ERROR_ACCESS_DENIED) > 0) {
        return ErrorOf(Cause::Refused, "the bus's policy refuses the call (" + said +
                                           "); ask for a policy that lets this user call the "
                                           "service");
    }
    if (sd_bus_error_has_names(&error, SD_BUS_ERROR_SERVICE_UNKNOWN,
                               SD_BUS_ERROR_NAME_HAS_NO_OWNER) > 0) {
        return ErrorOf(Cause::NoService, "the service has left the bus; start it, then try again");
    }
    if (Clock::now() >= call.deadline &&
        sd_bus_error_has_names(&error, SD_BUS_ERROR_NO_REPLY, SD_BUS_ERROR_TIMEOUT) > 0) {
        return NoAnswer();
    }
    if (sd_bus_error_has_names(&error, SD_BUS_ERROR_NO_REPLY, SD_BUS_ERROR_DISCONNECTED) > 0) {
        return OutcomeUnknown();
    }
    if (!call.isInFd && sd_bus_error_has_name(&error, endpoint_names::kTooLarge) > 0) {
        return ErrorOf(Cause::Failed,
                       "the reply is larger than a connection without descriptors carries; ask on "
                       "the machine of the service");
    }
    return ErrorOf(Cause::Failed, "the service answered with an error: " + said);
}

void RemoteCalls::Remember(const Call& call) {
    if (call.request.size() > remote_limits::kMaxRememberedRequest) return;
    if (call.reply.body.size() > m_fdBytes) {
        m_largeRequest = call.request;
    } else if (call.request == m_largeRequest && call.reply.body.size() < m_fdBytes / 2) {
        m_largeRequest.clear();
    }
}

// In order of posting, whatever came first: one that was asked for again holds up those behind it.
// A handler that posts gets here again, and must not hear of the next reply before it is done with
// its own. One that throws does not take the next one's reply away.
void RemoteCalls::Deliver() {
    if (m_isDelivering) return;
    const std::shared_ptr<void> owner = m_keepAlive();
    m_isDelivering = true;
    while (!m_calls.empty() && m_calls.front()->isDone) {
        const std::unique_ptr<Call> call = std::move(m_calls.front());
        m_calls.pop_front();
        --m_sent;
        SendWaiting();
        if (!m_closed) Guarded("handling a reply", [&] { call->onReply(call->reply); });
    }
    m_isDelivering = false;
}

RemoteError RemoteCalls::ErrorOf(Cause cause, const std::string& text) const {
    return RemoteError(cause, m_endpoint + ": " + text);
}

RemoteError RemoteCalls::NotSent(int result) const {
    if (result == -EMSGSIZE) {
        return ErrorOf(Cause::Failed,
                       "the call is larger than a connection without descriptors carries; send "
                       "fewer items at once");
    }
    return ErrorOf(Cause::Failed, std::string("cannot send a call: ") + std::strerror(-result) +
                                      "; free memory or descriptors");
}

RemoteError RemoteCalls::NoAnswer() const {
    return ErrorOf(Cause::TimedOut,
                   "no answer in time; the call may still be executed. Try again, or allow more "
                   "time");
}

RemoteError RemoteCalls::OutcomeUnknown() const {
    return ErrorOf(Cause::OutcomeUnknown,
                   "the service went away with a call under way; whether it was executed is "
                   "unknown. Read the list, then decide");
}

RemoteError RemoteCalls::NoService() const {
    return ErrorOf(Cause::NoService, "nobody owns " + endpoint_names::BusNameOf(m_endpoint) +
                                         " on " + m_where + "; start the service, then try again");
}

}  // namespace applist
