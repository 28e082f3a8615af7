// SPDX-License-Identifier: MIT

#include "platform/Wire.h"

#include <algorithm>
#include <cerrno>
#include <exception>
#include <new>
#include <system_error>
#include <utility>

#include "bus/EndpointNames.h"
#include "common/AppListLog.h"
#include "common/Joined.h"
#include "common/PrintableText.h"
#include "platform/CallMessage.h"
#include "platform/Endpoint.h"

namespace applist {

using logging::kError;

Wire::Wire(Endpoint& endpoint, std::string partner, std::function<void(int error)> onFailed)
    : m_endpoint(endpoint),
      m_partner(std::move(partner)),
      m_onFailed(std::move(onFailed)),
      m_probe([this] { Answered(); }, [this] { Stuck(); }),
      m_outbox(
          endpoint.Path(), m_probe, [this] { m_turns.GoOn(); },
          [this](int error) { m_onFailed(error); }),
      m_turns(*this, m_outbox, m_probe, endpoint.Limits(), IsBus()),
      m_isConfirmed(IsBus()) {}

Wire::~Wire() = default;

int Wire::Attach(sd_bus* bus, sd_event* event) {
    m_bus = bus;
    int result = AddObject();
    if (result >= 0) result = m_turns.Attach(event);
    if (result >= 0 && IsBus()) result = m_probe.Attach(bus, event);
    if (result >= 0) result = m_outbox.Attach(bus, event);
    return result;
}

void Wire::Detach() {
    m_outbox.Detach();
    m_turns.Detach();
    m_probe.Detach();
    m_object.reset();
    m_bus = nullptr;
}

void Wire::StopServing() {
    m_object.reset();
    m_turns.Detach();
    m_probe.Detach();
}

void Wire::SendLast(std::chrono::steady_clock::time_point deadline) {
    m_outbox.Flush(std::chrono::duration_cast<std::chrono::microseconds>(
        deadline - std::chrono::steady_clock::now()));
}

// As when it cannot be sent: when the connection ends, the partners know that they missed
// something.
void Wire::Tell(const std::string& partner, const std::vector<char>& body) {
    if (!Guarded("notifying", [&] { m_outbox.Notify(Notification{partner, body}); })) {
        m_outbox.FailSoon(-ENOMEM);
    }
}

std::string Wire::SenderOf(sd_bus_message* call) const {
    return IsBus() ? applist::SenderOf(call) : m_partner;
}

// ---- The object ---------------------------------------------------------------------------------

template <Wire::Method method>
int Wire::OnCall(sd_bus_message* call, void* userdata, sd_bus_error*) {
    static_cast<Wire*>(userdata)->Take(call, method);
    return 1;
}

void Wire::Take(sd_bus_message* call, Method method) noexcept {
    Answer(call, [=] {
        if (RefuseUnconfirmed(call, method)) return;
        if (m_turns.IsFree()) return Execute(call, method);
        if (RefuseLarge(call, BodyBytesOf(call))) return;
        Hold({UniqueMessage(sd_bus_message_ref(call)), method});
    });
}

// Who may call is decided by the bus's policy. sd-bus has a check of its own, which would ask the
// bus about each caller and wait for the answer; UNPRIVILEGED turns it off.
const sd_bus_vtable Wire::kVtable[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD_WITH_NAMES("Connect", "", "", "", "", OnCall<&Wire::Connect>,
                             SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES("Disconnect", "", "", "", "", OnCall<&Wire::Disconnect>,
                             SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES("Message", "ay", SD_BUS_PARAM(request), "ay", SD_BUS_PARAM(reply),
                             OnCall<&Wire::Message>, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES("MessageFd", "h", SD_BUS_PARAM(request), "h", SD_BUS_PARAM(reply),
                             OnCall<&Wire::MessageFd>, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES("Notify", "ay", SD_BUS_PARAM(body), "", "", OnCall<&Wire::Notify>,
                             SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES("Channel", "", "", "h", SD_BUS_PARAM(socket), OnCall<&Wire::Channel>,
                             SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_SIGNAL_WITH_NAMES("Notification", "ay", SD_BUS_PARAM(body), 0),
    SD_BUS_SIGNAL("Lost", "", 0),
    // Hidden, so that introspection does not grow: the bus library answers that by itself, and
    // while the bus stands the answers to all who asked are in memory.
    SD_BUS_PROPERTY("Partners", "u", OnReadPartners, 0, SD_BUS_VTABLE_HIDDEN),
    SD_BUS_PROPERTY("Serial", "t", OnReadSerial, 0, 0), SD_BUS_VTABLE_END};

// This answer overtakes the notifications that wait in the outbox, so it does not count them. A
// partner that was told of them before they arrive would take their arrival for that of later ones,
// and not notice when those are lost.
int Wire::OnReadSerial(sd_bus*, const char*, const char*, const char*, sd_bus_message* reply,
                       void* userdata, sd_bus_error*) {
    const Wire* const wire = static_cast<Wire*>(userdata);
    return sd_bus_message_append(reply, "t",
                                 wire->m_endpoint.Serial() - wire->m_outbox.WaitingToEveryone());
}

int Wire::OnReadPartners(sd_bus*, const char*, const char*, const char*, sd_bus_message* reply,
                         void* userdata, sd_bus_error*) {
    const std::size_t count = static_cast<const Wire*>(userdata)->m_endpoint.PartnerCount();
    return sd_bus_message_append(reply, "u", static_cast<std::uint32_t>(count));
}

void Wire::Connect(sd_bus_message* call) {
    m_endpoint.Connect(*this, call);
}

void Wire::Disconnect(sd_bus_message* call) {
    m_endpoint.Disconnect(*this, call);
}

void Wire::Channel(sd_bus_message* call) {
    m_endpoint.Channel(*this, call);
}

// The answer is made before, as long as an error for want of memory is true. What changes something
// has an empty body, as a rule: should the few bytes for that be lacking, it ends as an answer does
// that cannot be sent. What asks for something, and gets an error, can be asked again.
void Wire::Message(sd_bus_message* call) {
    const std::string partner = SenderOf(call);
    if (RefuseBeyondRation(call, partner)) return;
    UniqueMessage reply = ReplyTo(call);
    std::vector<char> request;
    if (!ReadBody(call, request)) return;
    std::vector<char> body;
    if (!RunHandler(call, [&] { body = m_endpoint.Application().HandleMessage(request); })) return;
    if (body.size() > transport_limits::kMaxReplyBytes) {
        return ReplyError(call, endpoint_names::kTooLarge,
                          Joined({"the reply of ", Decimal(body.size()),
                                  " bytes is too large for Message; call MessageFd instead"}));
    }
    if (!SetBody(reply, body)) {
        if (!body.empty()) throw std::bad_alloc();
        return m_outbox.FailSoon(-ENOMEM);
    }
    Charge(partner, body.size());
    m_outbox.Reply(std::move(reply));
}

void Wire::MessageFd(sd_bus_message* call) {
    const std::string partner = SenderOf(call);
    if (RefuseBeyondRation(call, partner) || RefuseLarge(call, BodyBytesOf(call))) return;
    FdReply reply(call);
    std::vector<char> request;
    const std::string refusal = ReadFdBody(call, m_endpoint.Limits().fdRequestBytes, request);
    if (!refusal.empty()) return ReplyError(call, endpoint_names::kBadFd, refusal);
    std::vector<char> body;
    if (!RunHandler(call, [&] { body = m_endpoint.Application().HandleMessage(request); })) return;
    std::vector<char>().swap(request);  // it may be as large as the reply
    if (body.size() > m_endpoint.Limits().fdBytes) {
        return ReplyError(call, endpoint_names::kTooLarge,
                          Joined({"the reply of ", Decimal(body.size()),
                                  " bytes is too large even for MessageFd"}));
    }
    UniqueMessage answer = std::move(reply).With(body);
    if (!answer) throw std::bad_alloc();
    Charge(partner, transport_limits::kDescriptorInRation);
    m_outbox.ReplyWithFd(std::move(answer), body.size());
}

void Wire::Notify(sd_bus_message* call) {
    UniqueMessage reply = ReplyTo(call);
    std::vector<char> body;
    if (!ReadBody(call, body)) return;
    if (!RunHandler(call, [&] { m_endpoint.Application().HandleNotification(body); })) return;
    m_outbox.Reply(std::move(reply));
}

// ---- Calls --------------------------------------------------------------------------------------

// What is caught here is the transport running out of memory or descriptors; an application's
// exceptions end in RunHandler. A caller who cannot even be told that hears it from the bus, when
// the connection ends.
template <class Work>
void Wire::Answer(sd_bus_message* call, Work work) noexcept {
    try {
        work();
    } catch (...) {
        AnswerWithFailure(call);
    }
}

// Apart from Answer, so that the methods share it.
void Wire::AnswerWithFailure(sd_bus_message* call) noexcept {
    int error = -ENOMEM;
    Guarded("answering a call", [&error] {
        try {
            throw;
        } catch (const std::system_error& failure) {
            error = -failure.code().value();
            throw;
        }
    });
    const int result = sd_bus_reply_method_errno(call, error, nullptr);
    if (result < 0) m_outbox.FailSoon(result);
}

void Wire::Execute(sd_bus_message* call, Method method) noexcept {
    using Clock = std::chrono::steady_clock;
    const bool isShared = IsBus();  // nobody shares a channel
    const Clock::time_point start = isShared ? Clock::now() : Clock::time_point();
    Answer(call, [&] { (this->*method)(call); });
    if (isShared) m_turns.Spent(Clock::now() - start);
}

void Wire::Hold(CallTurns::Call held) {
    using Outcome = CallTurns::Outcome;
    sd_bus_message* const call = held.message.get();
    if (m_turns.LacksDescriptors()) {
        return Refuse(call, "not executed: too many descriptors are open; call again later");
    }
    // Larger than memory it is not: RefuseLarge has let it pass.
    const auto size = static_cast<std::size_t>(BodyBytesOf(call));
    switch (m_turns.Hold(SenderOf(call), size, std::move(held))) {
        case Outcome::Held: return;
        case Outcome::SenderIsFull:
            return Refuse(call,
                          "not executed: too many of your calls are waiting; read the replies, "
                          "then call again");
        case Outcome::TooManySenders:
            return Refuse(call,
                          "not executed: too many other callers are waiting; call again later");
    }
}

bool Wire::RefuseUnconfirmed(sd_bus_message* call, Method method) {
    if (m_isConfirmed || method == &Wire::Connect) return false;
    m_outbox.Refuse(ErrorFor(call, SD_BUS_ERROR_ACCESS_DENIED,
                             "not executed: the first call over a channel must be Connect"));
    return true;
}

// Copied, as a handler may change its buffer and the message's own bytes must stay as they are.
bool Wire::ReadBody(sd_bus_message* call, std::vector<char>& body) {
    const auto [bytes, size] = BytesOf(call);
    if (RefuseLarge(call, size)) return false;
    body.assign(bytes, bytes + size);
    return true;
}

bool Wire::RefuseLarge(sd_bus_message* call, std::uint64_t size) {
    const TransportLimits& limits = m_endpoint.Limits();
    if (size <= std::min(limits.requestBytes, limits.fdRequestBytes)) return false;
    const bool isInFd = sd_bus_message_has_signature(call, "h") > 0;
    const std::size_t limit = isInFd ? limits.fdRequestBytes : limits.requestBytes;
    if (size <= limit) return false;
    Refuse(call, Joined({"not executed: the request holds ", Decimal(size), " bytes; send at most ",
                         Decimal(limit), " in one call"}));
    return true;
}

// The kernel tells what a partner has not read from its channel, so there it needs no ration.
bool Wire::RefuseBeyondRation(sd_bus_message* call, const std::string& partner) {
    if (!IsBus() || m_rations.Admits(partner, ReplyRations::Clock::now())) return false;
    Refuse(call,
           "not executed: replies that nobody read have filled the bus, so for a minute nobody "
           "gets many large ones at once; read yours, and call again in a second");
    return true;
}

template <class Handler>
bool Wire::RunHandler(sd_bus_message* call, Handler handler) {
    try {
        handler();
        return true;
    } catch (...) {
        ReplyHandlerFailed(call);
        return false;
    }
}

void Wire::ReplyHandlerFailed(sd_bus_message* call) {
    std::string text;
    try {
        throw;
    } catch (const std::exception& error) {
        text = error.what();
    } catch (...) {
        text = "unknown exception";
    }
    // Cut before it is made printable, which can make it four times as long.
    if (text.size() > transport_limits::kMaxErrorText) text.resize(transport_limits::kMaxErrorText);
    text = Joined({"the application failed: ", PrintableText(text)});
    APPLIST_LOG(kError, "call from %s: %s", SenderOf(call).c_str(), text.c_str());
    ReplyError(call, endpoint_names::kHandlerFailed, text);
}

void Wire::ReplyError(sd_bus_message* call, const char* name, const std::string& text) {
    m_outbox.Reply(ErrorFor(call, name, text));
}

void Wire::Refuse(sd_bus_message* call, const std::string& text) {
    m_outbox.Refuse(ErrorFor(call, SD_BUS_ERROR_LIMITS_EXCEEDED, text));
}

// ---- The connection -----------------------------------------------------------------------------

// When it runs out of memory, libsystemd forgets some of what it made: entries of a table, whose
// names it has freed. It would read those at the next attempt, and fail an assertion when it frees
// the connection. So such a connection is closed, and never freed.
int Wire::AddObject() {
    sd_bus_slot* slot = nullptr;
    const int result = sd_bus_add_object_vtable(m_bus, &slot, m_endpoint.Path().c_str(),
                                                endpoint_names::kInterface, kVtable, this);
    m_object.reset(slot);
    [[maybe_unused]] static sd_bus* neverFreed = nullptr;
    if (result == -ENOMEM) neverFreed = sd_bus_ref(m_bus);
    return result;
}

void Wire::Answered() {
    m_rations.Renew();
    m_turns.EverythingIsIn();
}

// Closing the connection frees what the bus keeps for it, whoever has not read it.
void Wire::Stuck() {
    Guarded("leaving a bus that is stuck", [this] {
        const std::string most = m_rations.Most();
        APPLIST_LOG(kError,
                    "%s takes nothing more, as if a partner did not read its replies (%s got most "
                    "of the last ones): leaving it, to come back at once",
                    m_endpoint.Where().c_str(), most.empty() ? "nobody" : most.c_str());
    });
    m_rations.Begin(ReplyRations::Clock::now());
    m_onFailed(-ETIMEDOUT);
}

}  // namespace applist
