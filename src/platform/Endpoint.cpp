// SPDX-License-Identifier: MIT

#include "platform/Endpoint.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <new>
#include <system_error>
#include <utility>

#include "bus/BusNames.h"
#include "bus/ChannelEnd.h"
#include "bus/EndpointNames.h"
#include "bus/TransportError.h"
#include "common/AppListLog.h"
#include "common/Joined.h"
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
      m_bus(*this, std::string(), [this](int error) { Leave(error); }),
      m_channels(*this),
      m_partners(m_limits.partners,
                 [this](const std::string& partner) { Report(false, partner); }) {
    if (name.find('\0') != std::string::npos || !sd_bus_object_path_is_valid(m_path.c_str()) ||
        !sd_bus_service_name_is_valid(m_busName.c_str())) {
        throw TransportError(Joined({"\"", PrintableText(name),
                                     "\" is not a valid endpoint name: use letters, digits and "
                                     "underscores, and begin with a letter"}));
    }
    // The object first (Open exports it): whoever sees the name may call at once.
    m_link.Open();
    OwnName(m_link.Bus(), m_busName, m_link.Location());
    Owned();
    m_isBuilt = true;
}

Endpoint::~Endpoint() {
    using Clock = std::chrono::steady_clock;
    // The owner's own part is destroyed already, so nothing may call it any more: first everything
    // goes that could, then what waits is sent.
    const Clock::time_point deadline = Clock::now() + transport_limits::kFlushTimeout;
    m_nameAnswer.reset();
    m_partners.RemoveAll();
    m_bus.StopServing();
    m_channels.SendLast(Clock::now() + transport_limits::kFlushTimeout / 2);
    if (m_owned) m_bus.SendLast(deadline);
    // The bus first: who sees that its channel ends should find that the service has gone.
    m_bus.Detach();
    m_link.Close();
    m_channels.AwaitEnds(deadline);
}

void Endpoint::SendNotification(const std::vector<char>& body, const std::string& partner) {
    // Counted even when it is lost: a partner compares the serial with what it has heard.
    if (partner.empty()) ++m_serial;
    // sd-bus would accept it, and the bus would then throw the whole connection out.
    if (body.size() > transport_limits::kMaxReplyBytes) {
        APPLIST_LOG(kError, "a notification of %zu bytes is too large for a bus: dropped",
                    body.size());
        return ForEachWireTo(partner, [](Wire& wire) { wire.Out().LoseOne(); });
    }
    ForEachWireTo(partner, [&](Wire& wire) { wire.Tell(partner, body); });
}

// Without a name on the bus nobody listens there; who comes later reads the list first. The bus
// last, as it takes longest.
void Endpoint::ForEachWireTo(const std::string& partner, const std::function<void(Wire&)>& work) {
    if (Wire* const channel = m_channels.WireOf(partner)) return work(*channel);
    if (partner.empty()) m_channels.ForEach(work);
    if (m_owned) work(m_bus);
}

// ---- For its wires ------------------------------------------------------------------------------

void Endpoint::Connect(Wire& wire, sd_bus_message* call) {
    const std::string partner = wire.SenderOf(call);
    UniqueMessage reply = ReplyTo(call);  // first: nothing may fail once the partner is tracked
    if (!wire.IsBus()) m_channels.Confirm(partner);
    switch (m_partners.Add(partner)) {
        case PartnerTracker::Outcome::Tracked: break;
        case PartnerTracker::Outcome::Full:
            return wire.ReplyError(call, SD_BUS_ERROR_LIMITS_EXCEEDED,
                                   "too many partners are connected; do without Connect, or try "
                                   "again when one has left");
        case PartnerTracker::Outcome::Failed: FollowingFailed();
    }
    wire.Out().Reply(std::move(reply));
    Report(true, partner);
}

void Endpoint::Disconnect(Wire& wire, sd_bus_message* call) {
    const std::string partner = wire.SenderOf(call);
    UniqueMessage reply = ReplyTo(call);
    m_partners.Remove(partner);
    wire.Out().Reply(std::move(reply));
    Report(false, partner);
}

// In the bus this reply lies with a descriptor, as those of MessageFd do.
void Endpoint::Channel(Wire& wire, sd_bus_message* call) {
    const std::string partner = wire.SenderOf(call);
    if (!wire.IsBus() || !MayUseChannels() ||
        sd_bus_can_send(wire.Bus(), SD_BUS_TYPE_UNIX_FD) <= 0) {
        return wire.ReplyError(call, SD_BUS_ERROR_NOT_SUPPORTED,
                               wire.IsBus()
                                   ? "this service has no direct channels; go on as you are"
                                   : "this is a direct channel already");
    }
    if (wire.RefuseBeyondRation(call, partner)) return;
    const OwnedFd end = m_channels.Open(partner);
    if (end.Get() == -ENOSPC) {
        return wire.ReplyError(call, SD_BUS_ERROR_LIMITS_EXCEEDED,
                               "too many partners have a direct channel; go on over the bus");
    }
    if (end.Get() == -ENOTRECOVERABLE) FollowingFailed();
    if (end.Get() < 0) throw std::system_error(-end.Get(), std::generic_category());
    UniqueMessage reply = ReplyTo(call);
    const int result = sd_bus_message_append(reply.get(), "h", end.Get());
    if (result < 0) throw std::system_error(-result, std::generic_category());
    wire.Charge(partner, transport_limits::kDescriptorInRation);
    wire.Out().ReplyWithFd(std::move(reply), 0);
}

// Without memory for a match libsystemd fails an assertion of its own at the next message, so there
// must be none.
void Endpoint::FollowingFailed() {
    m_bus.Out().FailSoon(-ENOMEM);
    throw std::bad_alloc();
}

void Endpoint::Report(bool state, const std::string& partner) {
    Guarded("reporting a connection", [&] { m_owner.HandleConnectionReady(state, partner); });
}

// ---- The bus ------------------------------------------------------------------------------------

// The constructor waits for the name itself, to say why it failed; when the endpoint comes back,
// nothing may wait, so the answer arrives in the loop.
void Endpoint::Export() {
    int result = m_bus.Attach(m_link.Bus(), m_link.Loop());
    if (result >= 0) result = m_channels.Attach(m_link.Bus(), m_link.Loop());
    if (result >= 0 && !m_partners.Follow(m_link.Bus())) result = -ENOMEM;
    if (result >= 0 && m_isBuilt) {
        m_retakes = kNameRetakes;
        result = TakeNameBack();
    }
    if (result >= 0) return;
    throw TransportError(Joined({"cannot serve ", m_path, " on ", m_link.Location().description,
                                 ": ", std::strerror(-result)}));
}

int Endpoint::TakeNameBack() {
    sd_bus_slot* slot = nullptr;
    const int result =
        sd_bus_request_name_async(m_link.Bus(), &slot, m_busName.c_str(), 0, OnNameAnswer, this);
    m_nameAnswer.reset(slot);
    return result;
}

// On another bus the names of the partners mean nothing.
void Endpoint::Owned() {
    m_owned = true;
    sd_id128_t id{};
    if (sd_bus_get_bus_id(m_link.Bus(), &id) < 0 || sd_id128_equal(id, m_busId) == 0) {
        CloseChannels();
    }
    m_busId = id;
}

void Endpoint::CloseChannels() {
    const auto hasOne = [this](const std::string& partner) {
        return m_channels.WireOf(partner) != nullptr;
    };
    while (const auto partner = m_partners.RemoveFirst(hasOne)) Report(false, *partner);
    m_channels.CloseAll();
}

void Endpoint::Leave(int error) {
    m_isLeaving = true;
    m_link.Abandon(error);
    m_isLeaving = false;
}

// Those who are called over a channel stay when we have left, or have tried in vain to come back:
// the bus may be the same. The reports last: what they call may send notifications, which must find
// the bus gone.
void Endpoint::Lost() {
    const bool hasBusGone = std::exchange(m_owned, false) && !m_isLeaving;
    m_bus.Detach();
    m_channels.Detach();
    m_nameAnswer.reset();
    m_partners.Follow(nullptr);
    if (hasBusGone) m_channels.CloseAll();
    const auto hasGone = [this](const std::string& partner) {
        return m_channels.WireOf(partner) == nullptr;
    };
    while (const auto partner = m_partners.RemoveFirst(hasGone)) Report(false, *partner);
}

// Who is on a bus goes on there; with the bus away there is no other way to the partner.
void Endpoint::ChannelEnded(const std::string& partner) {
    if (!m_partners.HasBus() && m_partners.Remove(partner)) Report(false, partner);
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
        endpoint->Owned();
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
    endpoint->CloseChannels();  // who is called by the name now is another service
    endpoint->m_link.GiveUp();
    return kReplyTaken;
}

}  // namespace applist
