// SPDX-License-Identifier: MIT

#include "remote/BusCalls.h"

#include <signal.h>

#include <cerrno>
#include <cstdint>
#include <utility>

#include "bus/EndpointNames.h"
#include "bus/SealedMemfd.h"
#include "bus/TransportLimits.h"
#include "remote/RemoteLimits.h"

namespace applist {

namespace {

// The session ends overdue calls by its own clock. The library must not end them as well.
constexpr std::uint64_t kNoTimeout = UINT64_MAX;

int ReadInline(sd_bus_message* reply, std::vector<char>& body) {
    const void* bytes = nullptr;
    std::size_t size = 0;
    // Looks superfluous, but reading alone would accept an array with something else after it.
    if (sd_bus_message_has_signature(reply, "ay") <= 0) return -EBADMSG;
    const int result = sd_bus_message_read_array(reply, 'y', &bytes, &size);
    if (result < 0) return result;
    const char* const begin = static_cast<const char*>(bytes);
    body.assign(begin, begin + size);
    return 0;
}

// A hostile service may send any descriptor: a pipe that never ends, a file that shrinks while it
// is read, a memfd with holes. Only a sealed memfd of bounded size is read.
int ReadFd(sd_bus_message* reply, std::size_t limit, std::vector<char>& body) {
    int fd = -1;  // belongs to the message
    if (sd_bus_message_has_signature(reply, "h") <= 0 || sd_bus_message_read(reply, "h", &fd) < 0 ||
        !WhyNoSealedBody(fd, limit).empty()) {
        return -EBADMSG;
    }
    return ReadSealedBody(fd, body);
}

// Signals to this thread, for as long as this lives.
class SignalsHeldBack {
public:
    SignalsHeldBack() {
        sigset_t all;
        sigfillset(&all);
        m_result = pthread_sigmask(SIG_SETMASK, &all, &m_before);
    }
    ~SignalsHeldBack() {
        if (m_result == 0) pthread_sigmask(SIG_SETMASK, &m_before, nullptr);
    }
    SignalsHeldBack(const SignalsHeldBack&) = delete;
    SignalsHeldBack& operator=(const SignalsHeldBack&) = delete;

private:
    sigset_t m_before;
    int m_result;
};

}  // namespace

struct BusCalls::Open {
    BusCalls* calls;
    CallId id;
    std::vector<char> request;  // empty if it is large: only small requests have large replies
    bool isInFd;
    UniqueSlot slot;
    std::uint64_t cookie = 0;  // the bus's number for it
};

BusCalls::BusCalls(const Way& way, const RemoteErrors& errors,
                   std::function<std::shared_ptr<void>()> keepAlive, AnswerHandler onAnswer)
    : m_way(way),
      m_errors(errors),
      m_keepAlive(std::move(keepAlive)),
      m_onAnswer(std::move(onAnswer)),
      m_fdLimit(CurrentTransportLimits().fdBytes) {}

BusCalls::~BusCalls() = default;

void BusCalls::Restart() {
    m_open.clear();
    m_incoming.reset();
    if (m_way.IsDirect()) return;  // there are no strangers
    sd_bus_slot* slot = nullptr;
    sd_bus_add_filter(m_way.connection, &slot, OnIncoming, this);
    m_incoming.reset(slot);
}

// ---- Sending ------------------------------------------------------------------------------------

int BusCalls::Send(CallId id, const std::vector<char>& request) {
    std::vector<char> kept;
    if (request.size() <= remote_limits::kMaxRememberedRequest) kept = request;
    std::unique_ptr<Open> made(new Open{this, id, std::move(kept), WantsFd(request), nullptr});
    // In the map before it is sent, because sd-bus is given a pointer to it.
    Open& call = *m_open.emplace(id, std::move(made)).first->second;
    int result = -ENOMEM;
    Guarded("sending a call", [&] { result = Transmit(call, request); });
    if (result < 0) Forget(id);
    return result;
}

int BusCalls::Transmit(Open& call, const std::vector<char>& request) {
    UniqueMessage message;
    int result = MakeMessage(request, call.isInFd, message);
    if (result < 0) return result;
    sd_bus_slot* slot = nullptr;
    result = sd_bus_call_async(m_way.connection, &slot, message.get(), OnReply, &call, kNoTimeout);
    call.slot.reset(slot);
    if (result >= 0) sd_bus_message_get_cookie(message.get(), &call.cookie);
    return result;
}

void BusCalls::Forget(CallId call) {
    m_open.erase(call);
}

int BusCalls::SendUnanswered(const std::vector<char>& request) {
    UniqueMessage message;
    int result = MakeMessage(request, WantsFd(request), message);
    if (result >= 0) result = sd_bus_message_set_expect_reply(message.get(), 0);
    return result < 0 ? result : sd_bus_send(m_way.connection, message.get(), nullptr);
}

int BusCalls::SendAwaited(const std::vector<char>& request, std::chrono::microseconds timeout) {
    UniqueMessage message;
    const int result = MakeMessage(request, WantsFd(request), message);
    if (result < 0) return result;
    sd_bus_error error = SD_BUS_ERROR_NULL;
    // Interrupted, the library forgets the answer, and to send again would be to write twice.
    const SignalsHeldBack untilAnswered;
    const int answer = sd_bus_call(m_way.connection, message.get(),
                                   static_cast<std::uint64_t>(timeout.count()), &error, nullptr);
    const bool hasFailed = sd_bus_error_has_name(&error, endpoint_names::kHandlerFailed) > 0;
    sd_bus_error_free(&error);
    return hasFailed ? 0 : answer;
}

bool BusCalls::WantsFd(const std::vector<char>& request) const {
    return sd_bus_can_send(m_way.connection, 'h') > 0 &&
           (request.size() > remote_limits::kFdBytes ||
            (!request.empty() && request == m_largeRequest));
}

int BusCalls::MakeMessage(const std::vector<char>& request, bool inFd,
                          UniqueMessage& message) const {
    // A bus would close the whole connection over a message that is too large.
    if (!inFd && request.size() > remote_limits::kMaxInlineBytes) return -EMSGSIZE;
    const int result = m_way.NewCall(message, m_errors.Endpoint(), endpoint_names::kInterface,
                                     inFd ? "MessageFd" : "Message");
    if (result < 0) return result;
    sd_bus_message* const made = message.get();
    if (!inFd) return sd_bus_message_append_array(made, 'y', request.data(), request.size());
    const OwnedFd fd = MakeSealedBody(request);  // appending duplicates it
    return fd.Get() < 0 ? fd.Get() : sd_bus_message_append(made, "h", fd.Get());
}

// ---- Receiving ----------------------------------------------------------------------------------

// Whatever happens here, the session hears once that the call has ended: when there is no memory
// for the reply, it hears that without one.
int BusCalls::OnReply(sd_bus_message* reply, void* userdata, sd_bus_error*) {
    Open* const call = static_cast<Open*>(userdata);
    BusCalls* const calls = call->calls;
    const CallId id = call->id;
    // Not forgotten: OnIncoming hears the service's own answer.
    if (!calls->m_way.IsAnswer(reply)) return kReplyTaken;
    const std::shared_ptr<void> owner = calls->m_keepAlive();
    if (!Guarded("receiving a reply", [&] { calls->Receive(*call, reply); })) {
        calls->Forget(id);
        Guarded("receiving a reply", [&] { calls->m_onAnswer(id, std::nullopt); });
    }
    return kReplyTaken;
}

// A reply reaches this place when sd-bus knows no call for it, as after a stranger's reply has used
// the call up.
int BusCalls::OnIncoming(sd_bus_message* message, void* userdata, sd_bus_error*) {
    std::uint64_t cookie = 0;
    if (sd_bus_message_get_reply_cookie(message, &cookie) < 0) return 0;
    for (const auto& [id, call] : static_cast<BusCalls*>(userdata)->m_open) {
        if (call->cookie == cookie) return OnReply(message, call.get(), nullptr);
    }
    return 0;
}

void BusCalls::Receive(Open& call, sd_bus_message* message) {
    RemoteReply reply;
    const sd_bus_error* const error = sd_bus_message_get_error(message);
    if (error != nullptr) {
        if (AskAgainInFd(call, *error)) return;
        reply.error = ErrorFrom(call, *error);
    } else if ((call.isInFd ? ReadFd(message, m_fdLimit, reply.body)
                            : ReadInline(message, reply.body)) < 0) {
        reply.body.clear();
        reply.error = m_errors.NotUnderstood();
    } else {
        RememberSize(call, reply.body.size());
    }
    // Forgotten first, because telling may end this object's owner. That frees `call` and its slot,
    // which sd-bus itself keeps until the callback has returned.
    const CallId id = call.id;
    Forget(id);
    m_onAnswer(id, std::move(reply));
}

RemoteError BusCalls::ErrorFrom(const Open& call, const sd_bus_error& error) const {
    if (!call.isInFd && sd_bus_error_has_name(&error, endpoint_names::kTooLarge) > 0) {
        return m_errors.ReplyTooLarge();
    }
    return m_errors.FromBus(error.name, error.message == nullptr ? "" : error.message);
}

// Only reads have large replies, so executing such a call twice does no harm.
bool BusCalls::AskAgainInFd(Open& call, const sd_bus_error& error) {
    if (call.isInFd || call.request.empty() ||
        sd_bus_error_has_name(&error, endpoint_names::kTooLarge) <= 0 ||
        sd_bus_can_send(m_way.connection, 'h') <= 0) {
        return false;
    }
    call.isInFd = true;
    m_largeRequest = call.request;
    return Transmit(call, call.request) >= 0;
}

// Forgets only at half the size, so that a list near the limit does not switch with every change.
void BusCalls::RememberSize(const Open& call, std::size_t replyBytes) {
    if (call.request.empty()) return;
    if (replyBytes > remote_limits::kFdBytes) {
        m_largeRequest = call.request;
    } else if (call.request == m_largeRequest && replyBytes < remote_limits::kFdBytes / 2) {
        m_largeRequest.clear();
    }
}

}  // namespace applist
