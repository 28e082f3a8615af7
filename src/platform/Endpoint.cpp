#include "platform/Endpoint.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <new>
#include <system_error>
#include <utility>

#include "bus/BusNames.h"
#include "bus/EndpointNames.h"
#include "bus/TransportError.h"
#include "common/PrintableText.h"
#include "platform/CallMessage.h"
#include "platform/OwnName.h"

namespace applist {

using logging::kError;

Endpoint::Endpoint(TesselDbusLocal& owner, const std::string& name)
    : m_owner(owner),
      m_busName(endpoint_names::BusNameOf(name)),
      m_path(endpoint_names::PathOf(name)),
      m_limits(CurrentTransportLimits()),
      m_link([this] { Export(); }, [this] { Lost(); }),
      m_probe([this] { Answered(); }, [this] { Stuck(); }),
      m_outbox(
          m_path, m_probe, [this] { m_turns.GoOn(); },
          [this](int error) { m_link.Abandon(error); }),
      m_partners(m_limits.partners, [this](const std::string& partner) { Report(false, partner); }),
      m_turns(*this, m_outbox, m_probe, m_limits) {
    if (name.find('\0') != std::string::npos || !sd_bus_object_path_is_valid(m_path.c_str()) ||
        !sd_bus_service_name_is_valid(m_busName.c_str())) {
        throw TransportError("\"" + PrintableText(name) +
                             "\" is not a valid endpoint name: use letters, digits and "
                             "underscores, and begin with a letter");
    }
    // The object first (Open exports it): whoever sees the name may call at once.
    m_link.Open();
    OwnName(m_link.Bus(), m_busName, m_link.Location());
    m_owned = true;
    m_isBuilt = true;
}

Endpoint::~Endpoint() {
    // The owner's own part is destroyed already, so nothing may call it any more: first everything
    // goes that could, then what waits is sent.
    m_object.reset();
    m_nameAnswer.reset();
    while (!m_partners.Empty()) m_partners.RemoveOne();
    m_turns.Detach();
    m_probe.Detach();
    if (m_owned) m_outbox.Flush(transport_limits::kFlushTimeout);
    m_outbox.Detach();
}

void Endpoint::SendNotification(const std::vector<char>& body, const std::string& partner) {
    // Counted even when it is lost: a partner compares the serial with what it has heard.
    if (partner.empty()) ++m_serial;
    // Without a name on the bus nobody listens; who comes later reads the list first.
    if (!m_owned) return;
    // As when it cannot be sent: when the connection ends, the partners know that they missed
    // something.
    if (!Guarded("notifying", [&] { m_outbox.Notify(Notification{partner, body}); })) {
        m_outbox.FailSoon(-ENOMEM);
    }
}

// ---- The object ---------------------------------------------------------------------------------

template <Endpoint::Method method>
int Endpoint::OnCall(sd_bus_message* call, void* userdata, sd_bus_error*) {
    Endpoint* const endpoint = static_cast<Endpoint*>(userdata);
    endpoint->Answer(call, [=] {
        if (endpoint->RefuseLarge(call)) return;
        if (endpoint->m_turns.IsFree()) return Execute<method>(*endpoint, call);
        endpoint->Hold({UniqueMessage(sd_bus_message_ref(call)), Execute<method>});
    });
    return 1;
}

// Who may call is decided by the bus's policy. sd-bus has a check of its own, which would ask the
// bus about each caller and wait for the answer; UNPRIVILEGED turns it off.
const sd_bus_vtable Endpoint::kVtable[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD_WITH_NAMES("Connect", "", "", "", "", OnCall<&Endpoint::Connect>,
                             SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES("Disconnect", "", "", "", "", OnCall<&Endpoint::Disconnect>,
                             SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES("Message", "ay", SD_BUS_PARAM(request), "ay", SD_BUS_PARAM(reply),
                             OnCall<&Endpoint::Message>, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES("MessageFd", "h", SD_BUS_PARAM(request), "h", SD_BUS_PARAM(reply),
                             OnCall<&Endpoint::MessageFd>, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES("Notify", "ay", SD_BUS_PARAM(body), "", "", OnCall<&Endpoint::Notify>,
                             SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_SIGNAL_WITH_NAMES("Notification", "ay", SD_BUS_PARAM(body), 0),
    SD_BUS_PROPERTY("Serial", "t", OnReadSerial, 0, 0),
    SD_BUS_VTABLE_END};

// This answer overtakes the notifications that wait in the outbox, so it does not count them. A
// partner that was told of them before they arrive would take their arrival for that of later ones,
// and not notice when those are lost.
int Endpoint::OnReadSerial(sd_bus*, const char*, const char*, const char*, sd_bus_message* reply,
                           void* userdata, sd_bus_error*) {
    const Endpoint* const endpoint = static_cast<Endpoint*>(userdata);
    return sd_bus_message_append(reply, "t",
                                 endpoint->m_serial - endpoint->m_outbox.WaitingToEveryone());
}

void Endpoint::Connect(sd_bus_message* call) {
    const std::string partner = SenderOf(call);
    UniqueMessage reply = ReplyTo(call);  // first: nothing may fail once the partner is tracked
    switch (m_partners.Add(m_link.Bus(), partner)) {
        case PartnerTracker::Outcome::Tracked: break;
        case PartnerTracker::Outcome::Full:
            return ReplyError(call, SD_BUS_ERROR_LIMITS_EXCEEDED,
                              "too many partners are connected; do without Connect, or try again "
                              "when one has left");
        case PartnerTracker::Outcome::Failed:
            // Without memory for a match libsystemd fails an assertion of its own at the next
            // message, so there must be none.
            m_outbox.FailSoon(-ENOMEM);
            throw std::bad_alloc();
    }
    m_outbox.Reply(std::move(reply));
    Report(true, partner);
}

void Endpoint::Disconnect(sd_bus_message* call) {
    const std::string partner = SenderOf(call);
    UniqueMessage reply = ReplyTo(call);
    m_partners.Remove(partner);
    m_outbox.Reply(std::move(reply));
    Report(false, partner);
}

// A call that changes something has an empty answer, as a rule, and that is made before. One that
// asks for something, and gets an error for want of memory, can be made again.
void Endpoint::Message(sd_bus_message* call) {
    const std::string partner = SenderOf(call);
    if (RefuseBeyondRation(call, partner)) return;
    UniqueMessage reply = ReplyTo(call, {});
    std::vector<char> request = BodyOf(call);
    std::vector<char> body;
    if (!RunHandler(call, [&] { body = m_owner.HandleMessage(request); })) return;
    if (body.size() > transport_limits::kMaxReplyBytes) {
        return ReplyError(call, endpoint_names::kTooLarge,
                          "the reply of " + std::to_string(body.size()) +
                              " bytes is too large for Message; call MessageFd instead");
    }
    if (!body.empty()) reply = ReplyTo(call, body);
    m_rations.Charge(partner, body.size());
    m_outbox.Reply(std::move(reply));
}

void Endpoint::MessageFd(sd_bus_message* call) {
    const std::string partner = SenderOf(call);
    if (RefuseBeyondRation(call, partner)) return;
    FdReply reply(call);
    std::vector<char> request;
    const std::string refusal = ReadFdBody(call, m_limits.fdRequestBytes, request);
    if (!refusal.empty()) return ReplyError(call, endpoint_names::kBadFd, refusal);
    std::vector<char> body;
    if (!RunHandler(call, [&] { body = m_owner.HandleMessage(request); })) return;
    std::vector<char>().swap(request);  // it may be as large as the reply
    if (body.size() > m_limits.fdBytes) {
        return ReplyError(call, endpoint_names::kTooLarge,
                          "the reply of " + std::to_string(body.size()) +
                              " bytes is too large even for MessageFd");
    }
    UniqueMessage answer = std::move(reply).With(body);
    if (!answer) throw std::bad_alloc();
    m_rations.Charge(partner, transport_limits::kDescriptorInRation);
    m_outbox.Reply(std::move(answer));
}

void Endpoint::Notify(sd_bus_message* call) {
    UniqueMessage reply = ReplyTo(call);
    std::vector<char> body = BodyOf(call);
    if (!RunHandler(call, [&] { m_owner.HandleNotification(body); })) return;
    m_outbox.Reply(std::move(reply));
}

// ---- Calls --------------------------------------------------------------------------------------

// What is caught here is the transport running out of memory or descriptors; an application's
// exceptions end in RunHandler. A caller who cannot even be told that hears it from the bus, when
// the connection ends.
template <class Work>
void Endpoint::Answer(sd_bus_message* call, Work work) noexcept {
    int error = -ENOMEM;
    const auto attempt = [&] {
        try {
            work();
        } catch (const std::system_error& failure) {
            error = -failure.code().value();
            throw;
        }
    };
    if (Guarded("answering a call", attempt)) return;
    const int result = sd_bus_reply_method_errno(call, error, nullptr);
    if (result < 0) m_outbox.FailSoon(result);
}

template <Endpoint::Method method>
void Endpoint::Execute(Endpoint& endpoint, sd_bus_message* call) noexcept {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point start = Clock::now();
    endpoint.Answer(call, [&] { (endpoint.*method)(call); });
    endpoint.m_turns.Spent(Clock::now() - start);
}

void Endpoint::Hold(CallTurns::Call held) {
    using Outcome = CallTurns::Outcome;
    sd_bus_message* const call = held.message.get();
    if (m_turns.LacksDescriptors()) {
        return Refuse(call, "not executed: too many descriptors are open; call again later");
    }
    switch (m_turns.Hold(SenderOf(call), BodyBytesOf(call), std::move(held))) {
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

bool Endpoint::RefuseLarge(sd_bus_message* call) {
    const bool isInFd = sd_bus_message_has_signature(call, "h") > 0;
    const std::size_t limit = isInFd ? m_limits.fdRequestBytes : m_limits.requestBytes;
    const std::size_t size = BodyBytesOf(call);
    if (size <= limit) return false;
    Refuse(call, "not executed: the request holds " + std::to_string(size) +
                     " bytes; send at most " + std::to_string(limit) + " in one call");
    return true;
}

bool Endpoint::RefuseBeyondRation(sd_bus_message* call, const std::string& partner) {
    if (m_rations.Admits(partner, ReplyRations::Clock::now())) return false;
    Refuse(call,
           "not executed: replies that nobody read have filled the bus, so for a minute nobody "
           "gets many large ones at once; read yours, and call again in a second");
    return true;
}

template <class Handler>
bool Endpoint::RunHandler(sd_bus_message* call, Handler handler) {
    std::string text;
    try {
        handler();
        return true;
    } catch (const std::exception& error) {
        text = error.what();
    } catch (...) {
        text = "unknown exception";
    }
    // Cut before it is made printable, which can make it four times as long.
    if (text.size() > transport_limits::kMaxErrorText) text.resize(transport_limits::kMaxErrorText);
    text = "the application failed: " + PrintableText(text);
    APPLIST_LOG(kError, "call from %s: %s", SenderOf(call).c_str(), text.c_str());
    ReplyError(call, endpoint_names::kHandlerFailed, text);
    return false;
}

void Endpoint::ReplyError(sd_bus_message* call, const char* name, const std::string& text) {
    m_outbox.Reply(ErrorFor(call, name, text));
}

void Endpoint::Refuse(sd_bus_message* call, const std::string& text) {
    m_outbox.Refuse(ErrorFor(call, SD_BUS_ERROR_LIMITS_EXCEEDED, text));
}

void Endpoint::Report(bool state, const std::string& partner) {
    Guarded("reporting a connection", [&] { m_owner.HandleConnectionReady(state, partner); });
}

// ---- The bus ------------------------------------------------------------------------------------

// When it runs out of memory, libsystemd forgets some of what it made: entries of a table, whose
// names it has freed. It would read those at the next attempt, and fail an assertion when it frees
// the connection. So such a connection is closed, and never freed.
int Endpoint::AddObject() {
    sd_bus_slot* slot = nullptr;
    const int result = sd_bus_add_object_vtable(m_link.Bus(), &slot, m_path.c_str(),
                                                endpoint_names::kInterface, kVtable, this);
    m_object.reset(slot);
    [[maybe_unused]] static sd_bus* neverFreed = nullptr;
    if (result == -ENOMEM) neverFreed = sd_bus_ref(m_link.Bus());
    return result;
}

// The constructor waits for the name itself, to say why it failed; when the endpoint comes back,
// nothing may wait, so the answer arrives in the loop.
void Endpoint::Export() {
    int result = AddObject();
    if (result >= 0) result = m_turns.Attach(m_link.Loop());
    if (result >= 0) result = m_probe.Attach(m_link.Bus(), m_link.Loop());
    if (result >= 0) result = m_outbox.Attach(m_link.Bus(), m_link.Loop());
    if (result >= 0 && m_isBuilt) {
        m_retakes = kNameRetakes;
        result = TakeNameBack();
    }
    if (result >= 0) return;
    throw TransportError("cannot serve " + m_path + " on " + m_link.Location().description + ": " +
                         std::strerror(-result));
}

int Endpoint::TakeNameBack() {
    sd_bus_slot* slot = nullptr;
    const int result =
        sd_bus_request_name_async(m_link.Bus(), &slot, m_busName.c_str(), 0, OnNameAnswer, this);
    m_nameAnswer.reset(slot);
    return result;
}

// The partners last: what a report calls may send notifications, which must find the bus gone.
void Endpoint::Lost() {
    m_owned = false;
    m_outbox.Detach();
    m_turns.Detach();
    m_probe.Detach();
    m_object.reset();
    m_nameAnswer.reset();
    while (!m_partners.Empty()) Report(false, m_partners.RemoveOne());
}

void Endpoint::Answered() {
    m_rations.Renew();
    m_turns.EverythingIsIn();
}

// Closing the connection frees what the bus keeps for it, whoever has not read it.
void Endpoint::Stuck() {
    Guarded("leaving a bus that is stuck", [this] {
        const std::string most = m_rations.Most();
        APPLIST_LOG(kError,
                    "%s takes nothing more, as if a partner did not read its replies (%s got most "
                    "of the last ones): leaving it, to come back at once",
                    m_link.Location().description.c_str(), most.empty() ? "nobody" : most.c_str());
    });
    m_rations.Begin(ReplyRations::Clock::now());
    m_link.Abandon(-ETIMEDOUT);
}

int Endpoint::OnNameAnswer(sd_bus_message* message, void* userdata, sd_bus_error*) {
    Endpoint* const endpoint = static_cast<Endpoint*>(userdata);
    const std::uint32_t primaryOwner = 1;  // 2, 3, 4: queued, taken, ours already
    std::uint32_t answer = 0;
    if (sd_bus_is_open(endpoint->m_link.Bus()) <= 0) return kReplyTaken;  // the bus went away again
    // A stranger's answer has used up the question: see bus_names::IsAnswerOf.
    if (!bus_names::IsFromDriver(message)) {
        if (endpoint->TakeNameBack() < 0) endpoint->m_link.GiveUp();
        return kReplyTaken;
    }
    if (sd_bus_message_read(message, "u", &answer) >= 0 && answer == primaryOwner) {
        endpoint->m_owned = true;
        endpoint->m_link.Settled();
        return kReplyTaken;
    }
    if (endpoint->m_retakes > 0) {
        --endpoint->m_retakes;
        KnockAtOwner(endpoint->m_link.Bus(), endpoint->m_busName);
        if (endpoint->TakeNameBack() >= 0) return kReplyTaken;
    }
    const sd_bus_error* refusal = sd_bus_message_get_error(message);
    APPLIST_LOG(kError, "cannot own %s again: %s; trying again", endpoint->m_busName.c_str(),
                refusal != nullptr && refusal->message != nullptr ? refusal->message
                                                                  : "taken by another process");
    endpoint->m_link.GiveUp();
    return kReplyTaken;
}

}  // namespace applist
