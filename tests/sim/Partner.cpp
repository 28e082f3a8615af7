// SPDX-License-Identifier: MIT

#include "sim/Partner.h"

#include <utility>

#include "sim/Memory.h"

namespace sim {

namespace {

// How long Synchronize may take when nothing is wrong: through the smallest of sockets, behind the
// largest of lists.
constexpr Usec kLongestSynchronize = 2 * kSecond;

}  // namespace

// What the shadow itself needs is not under test.
class Partner::CheckedShadow : public Shadow {
public:
    using Shadow::Shadow;

    void RowsChanged(applist::RemoteAppListModel* model,
                     const std::vector<applist::RowChange>& changes) override {
        const MemoryLasts lasts;
        Shadow::RowsChanged(model, changes);
    }
    void ItemChanged(AppListModel* model) override {
        const MemoryLasts lasts;
        Shadow::ItemChanged(model);
    }
    void ItemSelected(AppListModel* model) override {
        const MemoryLasts lasts;
        Shadow::ItemSelected(model);
    }
    void ListReadChanged(applist::RemoteAppListModel* model) override {
        const MemoryLasts lasts;
        Shadow::ListReadChanged(model);
    }
    void ServiceChanged(applist::RemoteAppListModel* model) override {
        const MemoryLasts lasts;
        Shadow::ServiceChanged(model);
    }
};

Partner::Partner(World& world, const std::string& name, Service& service, const Weather& weather,
                 const Complain& complain)
    : Follower(world, name, complain), m_service(service), m_weather(weather) {}

void Partner::Open() {
    m_model = std::make_unique<applist::RemoteAppListModel>();
    const MemoryLasts lasts;
    m_shadow = std::make_unique<CheckedShadow>(*m_model, m_complain);
    m_model->AddItemClickedListener(this);
    m_id = m_service.NewPartnerId();
    m_newest = 0;
}

void Partner::Close() {
    m_model.reset();
    m_shadow.reset();
    m_seenSince = kNever;
}

// ---- Writing ------------------------------------------------------------------------------------

void Partner::Write(std::uint64_t what, const std::string& name, const std::string& id) {
    Do([=] {
        if (!IsUp()) return;
        m_world.Log("%s writes: %d", m_process->name.c_str(), static_cast<int>(what % 10));
        const std::string failure = Try([&] { WriteNow(what, name, id); });
        if (!failure.empty()) m_world.Log("the write failed: %s", failure.c_str());
    });
}

void Partner::WriteNow(std::uint64_t what, const std::string& name, const std::string& id) {
    applist::RemoteAppListModel& model = *m_model;
    RemoteAppListItem one(name, id);
    RemoteAppListItem other("Other", id);
    switch (what % 10) {
        case 0: return model.RemoveItem(&one);
        case 1: return model.ModifyItem(&one, &other);
        case 2: return model.SetSelection(&one);
        case 3: return model.RemoveAllItems();
        case 4: return model.AddItems({&one, &other});
        case 5: return model.SetClicked(&one);
        default: return WriteSigned(id);
    }
}

void Partner::WriteSigned(const std::string& id) {
    const int number = ++m_written;
    RemoteAppListItem item(BookkeepingList::SignedName(m_id, number), id);
    m_model->AddItemAtEnd(&item);
    m_newest = number;
}

// ---- Waiting ------------------------------------------------------------------------------------

void Partner::Synchronize() {
    Do([this] {
        if (IsUp()) SynchronizeNow();
    });
}

void Partner::SynchronizeNow() {
    const Usec started = m_world.Now();
    const bool sawService = SeesService();
    const int newest = std::exchange(m_newest, 0);
    const std::string failure = Try([this] { m_model->Synchronize(); });
    m_world.Log("%s synchronizes: %s", m_process->name.c_str(), failure.c_str());
    if (failure.empty()) {
        CheckSynchronized(started, newest);
    } else {
        CheckFailure(failure, sawService);
    }
}

void Partner::CheckSynchronized(Usec started, int newest) {
    ++m_synchronized;
    if (newest != 0 && !m_service.List().HasArrived(m_id, newest)) {
        m_complain("synchronized without the last write");
    }
    // By now the service may have left again.
    if (SeesService() && !m_service.List().Past().HasShown(Shown(), started)) {
        m_complain("synchronized with what the list did not show: " + Shown().Text());
    }
    if (m_weather.IsGood() && m_world.Now() - started > kLongestSynchronize) {
        m_complain("synchronized after " + std::to_string(m_world.Now() - started) + " us");
    }
}

void Partner::CheckFailure(const std::string& failure, bool sawService) {
    if (!m_process->lacksMemory && failure.find("Applist: ") != 0) {
        m_complain("does not say who failed: " + failure);
    }
    if (m_weather.IsGood() && sawService) m_complain("failed in good weather: " + failure);
}

// ---- Checking -----------------------------------------------------------------------------------

void Partner::Check() {
    if (!IsUp() || m_shadow == nullptr) return;
    m_shadow->CheckThatItIsUpToDate();
    if (m_weather.freshWithin != kNever) CheckFreshness();
}

void Partner::CheckFreshness() {
    if (!SeesService()) {
        m_seenSince = kNever;
        return;
    }
    if (m_seenSince == kNever) m_seenSince = m_world.Now();
    if (m_world.Now() < m_seenSince + m_weather.freshWithin) return;
    CheckClicks(m_world.Now() - m_weather.freshWithin);
    if (m_service.List().Past().HasShown(Shown(), m_world.Now() - m_weather.freshWithin)) return;
    m_complain("shows what is more than " + std::to_string(m_weather.freshWithin) +
               " us old: " + Shown().Text() + " instead of " + m_service.Truth().Text());
}

// A click is told or it is lost: nobody can read it later. So only losing signals excuses it.
void Partner::CheckClicks(Usec until) {
    const Usec click = m_service.List().LastClick();
    if (m_weather.faults.loseSignal != 0 || click < m_seenSince || click > until) return;
    if (m_lastClick < click) m_complain("not told of a click");
}

}  // namespace sim
