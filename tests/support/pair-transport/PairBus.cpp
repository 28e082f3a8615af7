// SPDX-License-Identifier: MIT

#include "PairBus.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "remote/RemoteLink.h"

namespace pair {

struct Bus::Choice {
    std::shared_ptr<Link> link;
    Link::Direction direction;
    std::size_t index;
    std::uint64_t order;
};

Bus& Bus::Get() {
    static Bus bus;
    return bus;
}

void Bus::Reset() {
    m_faults = Faults();
    Run();
    if (m_service != nullptr || !m_links.empty()) throw std::logic_error("somebody is on the bus");
    m_executed.clear();
    m_now = Milliseconds(0);
    m_isThere = true;
}

std::size_t Bus::CountOf(int messageId) const {
    return static_cast<std::size_t>(std::count(m_executed.begin(), m_executed.end(), messageId));
}

// ---- What happens -------------------------------------------------------------------------------

namespace {

constexpr auto kNever = Link::Time::max();

Milliseconds InMilliseconds(Link::Time time) {
    return std::chrono::ceil<Milliseconds>(time);
}

// A count is none: a service gives it in the order of its notifications.
bool IsReply(const Link::Parcel& parcel) {
    return parcel.kind == Link::Kind::Message;
}

// The first parcel of the other kind than the very first one that may overtake it; 0 when there is
// none. Nothing overtakes the news of who the service is.
std::size_t FirstOvertaker(const std::deque<Link::Parcel>& parcels) {
    if (parcels.front().kind == Link::Kind::Owner) return 0;
    for (std::size_t at = 1; at < parcels.size(); ++at) {
        if (parcels[at].kind == Link::Kind::Owner) return 0;
        if (IsReply(parcels[at]) != IsReply(parcels.front())) return at;
    }
    return 0;
}

}  // namespace

std::vector<Bus::Choice> Bus::Choices() const {
    std::vector<Choice> choices;
    for (const auto& link : m_links) {
        if (!link->m_toService.empty() && !m_faults.serviceStands) {
            choices.push_back(
                {link, Link::Direction::ToService, 0, link->m_toService.front().order});
        }
        if (link->m_toPartner.empty()) continue;
        choices.push_back({link, Link::Direction::ToPartner, 0, link->m_toPartner.front().order});
        const std::size_t other = m_faults.reordersKinds ? FirstOvertaker(link->m_toPartner) : 0;
        if (other == 0) continue;
        choices.push_back(
            {link, Link::Direction::ToPartner, other, link->m_toPartner[other].order});
    }
    return choices;
}

bool Bus::Step() {
    if (m_faults.beforeStep) m_faults.beforeStep();
    const std::vector<Choice> choices = Choices();
    if (choices.empty()) {
        DropClosedLinks();
        return false;
    }
    const auto oldest = std::min_element(
        choices.begin(), choices.end(),
        [](const Choice& left, const Choice& right) { return left.order < right.order; });
    const Choice choice = m_faults.pick ? choices[m_faults.pick(choices.size())] : *oldest;
    if (choice.direction == Link::Direction::ToService) {
        choice.link->ArriveAtService();
    } else {
        choice.link->ArriveAtPartner(choice.index);
    }
    DropClosedLinks();
    return true;
}

void Bus::Run() {
    while (Step()) continue;
}

// The link, if any, that has something due before all others.
std::shared_ptr<Link> Bus::Next() const {
    std::shared_ptr<Link> next;
    for (const auto& link : m_links) {
        if (link->Due() == kNever) continue;
        if (!next || link->Due() < next->Due()) next = link;
    }
    return next;
}

void Bus::WaitUntil(std::chrono::microseconds time) {
    m_now = std::max(m_now, InMilliseconds(time));
}

void Bus::Pass(Milliseconds time) {
    const Milliseconds end = m_now + time;
    for (auto next = Next(); next && next->Due() <= end; next = Next()) {
        m_now = std::max(m_now, InMilliseconds(next->Due()));
        next->OnTime();
    }
    m_now = end;
}

void Bus::RunFor(Milliseconds time) {
    const Milliseconds end = m_now + time;
    Run();
    for (auto next = Next(); next && next->Due() <= end; next = Next()) {
        Pass(std::max(InMilliseconds(next->Due()) - m_now, Milliseconds(0)));
        Run();
    }
    m_now = end;
}

// A partner that has left is reported when all that it sent has arrived.
void Bus::DropClosedLinks() {
    for (std::size_t at = 0; at < m_links.size();) {
        const std::shared_ptr<Link> link = m_links[at];
        if (!link->IsClosed() || !link->m_toService.empty()) {
            ++at;
            continue;
        }
        m_links.erase(m_links.begin() + static_cast<std::ptrdiff_t>(at));
        if (m_service != nullptr && !link->Service().empty()) {
            m_service->HandleConnectionReady(false, link->Name());
        }
    }
}

// ---- Who is there -------------------------------------------------------------------------------

std::string Bus::NewName() {
    return ":partner." + std::to_string(++m_names);
}

void Bus::Join(const std::shared_ptr<Link>& link) {
    m_links.push_back(link);
    if (m_isThere) TellOwner(*link);
}

void Bus::TellOwner(Link& link) {
    Link::Parcel parcel;
    parcel.service = m_serviceName;
    link.Tell(std::move(parcel));
}

void Bus::Attach(TesselDbusLocal* service) {
    if (m_service != nullptr) throw std::runtime_error("the name is taken");
    m_service = service;
    m_serviceName = ":service." + std::to_string(++m_names);
    m_serial = 0;
    Announce();
}

void Bus::Detach(const TesselDbusLocal* service) {
    if (m_service != service) return;
    m_service = nullptr;
    m_serviceName.clear();
    Announce();
}

void Bus::Announce() {
    if (!m_isThere) return;
    for (const auto& link : m_links) TellOwner(*link);
}

void Bus::KillService() {
    for (const auto& link : m_links) {
        link->m_toService.clear();
        link->m_toPartner.clear();
    }
    Detach(m_service);
}

void Bus::LoseBus() {
    m_isThere = false;
    const auto links = m_links;
    for (const auto& link : links) link->LoseBus();
    DropClosedLinks();
}

void Bus::FindBus() {
    if (std::exchange(m_isThere, true)) return;
    for (const auto& link : m_links) link->FindBus();
    Announce();
}

// Counts one that nobody got, so that the partners are told once more that the service is usable.
void Bus::ConnectAgain() {
    ++m_serial;
    for (const auto& link : m_links) link->ConnectAgain();
}

void Bus::Broadcast(const Bytes& body) {
    ++m_serial;
    for (const auto& link : m_links) {
        if (link->Service() == m_serviceName) Unicast(body, link->Name(), true);
    }
}

void Bus::Unicast(const Bytes& body, const std::string& partner, bool toEveryone) {
    for (const auto& link : m_links) {
        if (link->Name() != partner || (m_faults.loses && m_faults.loses())) continue;
        Link::Parcel parcel;
        parcel.kind = Link::Kind::Notification;
        parcel.service = m_serviceName;
        parcel.toEveryone = toEveryone;
        parcel.body = body;
        link->Tell(std::move(parcel));
    }
}

}  // namespace pair

TesselDbusLocal::TesselDbusLocal(std::string) {
    pair::Bus::Get().Attach(this);
}

TesselDbusLocal::~TesselDbusLocal() {
    pair::Bus::Get().Detach(this);
}

void TesselDbusLocal::SendNotification(std::vector<char>& data) {
    pair::Bus::Get().Broadcast(data);
}

void TesselDbusLocal::SendNotification(std::vector<char>& data, const std::string& partner) {
    pair::Bus::Get().Unicast(data, partner);
}
