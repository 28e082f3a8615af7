// SPDX-License-Identifier: MIT

// sd_bus_track would do most of this, but it waits for the bus when a name is added, and a bus that
// does not answer must not hold the service up.

#include "platform/PartnerTracker.h"

#include <algorithm>
#include <utility>

#include "bus/BusNames.h"
#include "common/AppListLog.h"
#include "common/Joined.h"

namespace applist {

using bus_names::kDriver;
using bus_names::kDriverPath;

struct PartnerTracker::Partner {
    PartnerTracker* tracker;
    std::string name;
    UniqueSlot leaving;
    UniqueSlot present;
};

PartnerTracker::PartnerTracker(std::size_t most, std::function<void(const std::string&)> onLeft)
    : m_most(most), m_onLeft(std::move(onLeft)) {}

PartnerTracker::~PartnerTracker() = default;

bool PartnerTracker::Follow(sd_bus* bus) {
    m_bus = bus;
    for (const auto& [name, partner] : m_partners) {
        partner->leaving.reset();
        partner->present.reset();
        if (bus != nullptr && !Follow(*partner)) return false;
    }
    return true;
}

PartnerTracker::Outcome PartnerTracker::Add(const std::string& name) {
    if (m_partners.count(name) != 0) return Outcome::Tracked;
    if (m_partners.size() >= m_most) return Outcome::Full;

    std::unique_ptr<Partner> partner(new Partner{this, name, nullptr, nullptr});
    if (m_bus != nullptr && !Follow(*partner)) return Outcome::Failed;
    m_partners.emplace(name, std::move(partner));
    return Outcome::Tracked;
}

// Asked after the match: a partner that left before the match was in place is found by the answer,
// one that leaves later by the match. The other way round one could slip through in between.
bool PartnerTracker::Follow(Partner& partner) const {
    const std::string match = Joined({bus_names::OwnerChangesOf(partner.name), ",arg2=''"});
    sd_bus_slot* slot = nullptr;
    const int result = sd_bus_add_match_async(m_bus, &slot, match.c_str(), OnOwnerChanged,
                                              OnMatchInstalled, &partner);
    partner.leaving.reset(slot);
    return result >= 0 && AskWhetherPresent(m_bus, partner);
}

bool PartnerTracker::AskWhetherPresent(sd_bus* bus, Partner& partner) {
    sd_bus_slot* slot = nullptr;
    const int result =
        sd_bus_call_method_async(bus, &slot, kDriver, kDriverPath, kDriver, "NameHasOwner",
                                 OnHasOwner, &partner, "s", partner.name.c_str());
    partner.present.reset(slot);
    return result >= 0;
}

bool PartnerTracker::Remove(const std::string& name) {
    return m_partners.erase(name) > 0;
}

void PartnerTracker::RemoveAll() {
    m_partners.clear();
}

// Takes no memory: it may be the want of it that ends the connection.
std::optional<std::string> PartnerTracker::RemoveFirst(
    const std::function<bool(const std::string&)>& isOne) {
    const auto first = std::find_if(m_partners.begin(), m_partners.end(),
                                    [&](const auto& partner) { return isOne(partner.first); });
    if (first == m_partners.end()) return std::nullopt;
    return std::move(m_partners.extract(first).key());
}

int PartnerTracker::OnOwnerChanged(sd_bus_message* message, void* userdata, sd_bus_error*) {
    if (!bus_names::IsFromDriver(message)) return 0;
    Partner* partner = static_cast<Partner*>(userdata);
    Guarded("tracking a partner", [partner] { partner->tracker->Left(partner->name); });
    return 0;
}

// Without a callback of ours sd-bus would close the whole connection when the bus refuses one
// match. A partner whose match was refused stays connected until it says Disconnect.
int PartnerTracker::OnMatchInstalled(sd_bus_message* message, void* userdata, sd_bus_error*) {
    const Partner* partner = static_cast<Partner*>(userdata);
    const sd_bus_error* refusal = sd_bus_message_get_error(message);
    if (refusal != nullptr && bus_names::IsFromDriver(message)) {
        APPLIST_LOG(logging::kError, "cannot tell when partner %s leaves: %s",
                    partner->name.c_str(), refusal->message);
    }
    return kReplyTaken;
}

int PartnerTracker::OnHasOwner(sd_bus_message* message, void* userdata, sd_bus_error*) {
    Partner* partner = static_cast<Partner*>(userdata);
    // A stranger's answer has used up the question: see bus_names::IsAnswerOf.
    if (!bus_names::IsFromDriver(message)) {
        AskWhetherPresent(sd_bus_message_get_bus(message), *partner);
        return kReplyTaken;
    }
    // An error or a strange answer counts as present: nobody is thrown out over it.
    int present = 1;
    if (sd_bus_message_read(message, "b", &present) < 0 || present != 0) return kReplyTaken;
    Guarded("tracking a partner", [partner] { partner->tracker->Left(partner->name); });
    return kReplyTaken;
}

void PartnerTracker::Left(const std::string& name) {
    const std::string left = name;  // `name` may be part of what is erased
    m_partners.erase(left);
    m_onLeft(left);
}

}  // namespace applist
