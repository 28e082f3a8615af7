// SPDX-License-Identifier: MIT

// Everything at once: partners that come, write, wait and go, an application that edits its list,
// and a bus that delays, drops, reorders and breaks. After each round all is quiet for five
// seconds, and every replica must equal the service's list; all the time, listeners must have been
// told of exactly what they can see.

#include <random>
#include <utility>

#include "partner/BookkeepingList.h"
#include "partner/PairTest.h"
#include "partner/Shadow.h"

using applist::RemoteAppListModel;
using applist::RemoteError;

namespace {

constexpr unsigned kSeed = 20240229;
constexpr int kRounds = 1100;
constexpr int kStepsPerRound = 200;
constexpr std::size_t kPartners = 3;

void Complain(const std::string& what) {
    ADD_FAILURE() << what;
}

struct Partner {
    std::unique_ptr<RemoteAppListModel> model;
    std::unique_ptr<Shadow> shadow;
    std::size_t id = 0;  // a new one for each model
    int written = 0;
    int newest = 0;  // since the last Synchronize; 0 when there is none
};

}  // namespace

class ReplicasOverABadBus : public ::testing::Test {
protected:
    ReplicasOverABadBus() {
        ForgetLog();
        m_bus.Reset();
    }

    ~ReplicasOverABadBus() override {
        Heal();
        for (Partner& partner : m_partners) EndPartner(partner);
        EndService();
        m_bus.Run();
    }

    bool Chance(unsigned percent) { return m_random() % 100 < percent; }
    std::size_t Below(std::size_t count) { return m_random() % count; }
    std::string AnyId() { return std::string(1, static_cast<char>('a' + Below(8))); }
    Partner& AnyPartner() { return m_partners[Below(kPartners)]; }

    void StartService() {
        if (!m_service) m_service = std::make_unique<LocalAppListModel>(&m_list);
    }

    void EndService() {
        m_list.ForgetPartnersItems();
        m_service.reset();
    }

    void StartPartner(Partner& partner) {
        if (partner.model) return;
        partner.id = ++m_partnersSoFar;
        partner.model = std::make_unique<RemoteAppListModel>();
        partner.shadow = std::make_unique<Shadow>(*partner.model, Complain);
        partner.shadow->m_onTold = [this, &partner] {
            if (Chance(5)) Write(partner);
        };
    }

    static void EndPartner(Partner& partner) {
        partner.model.reset();
        partner.shadow.reset();
        partner.newest = 0;
    }

    void Edit() {
        const std::size_t size = static_cast<std::size_t>(m_list.GetItemsCount());
        if (size > 12) return m_list.RemoveAllItemsOfItsOwn();
        switch (Below(8)) {
            case 0:
            case 1: return m_list.Insert(Below(size + 1), "Name" + AnyId(), AnyId());
            case 2: return size == 0 ? m_list.TellOfNothing() : m_list.RemoveAt(Below(size));
            case 3:
                return size == 0 ? m_list.TellOfNothing()
                                 : m_list.Rename(m_list.GetAllItems()[Below(size)]->GetUnigueId(),
                                                 "Name" + AnyId());
            case 4:
                return size == 0 ? m_list.TellOfNothing() : m_list.Move(Below(size), Below(size));
            case 5: return m_list.Select(AnyId());
            case 6: return m_list.SelectOutside("Name" + AnyId(), AnyId());
            default: return m_list.Click();
        }
    }

    void Write(Partner& partner) {
        if (!partner.model) return;
        RemoteAppListItem one("Name" + AnyId(), AnyId());
        RemoteAppListItem other("Name" + AnyId(), AnyId());
        if (m_list.GetItemsCount() > 12) return partner.model->RemoveAllItems();
        switch (Below(9)) {
            case 0: return partner.model->AddItems({&one, &other});
            case 1: return partner.model->RemoveItem(&one);
            case 2: return partner.model->ModifyItem(&one, &other);
            case 3: return partner.model->SetSelection(&one);
            case 4:
                return Chance(30) ? partner.model->RemoveAllItems() : partner.model->AddItems({});
            default: break;
        }
        partner.newest = ++partner.written;
        RemoteAppListItem signedOne(BookkeepingList::SignedName(partner.id, partner.newest),
                                    AnyId());
        partner.model->AddItemAtEnd(&signedOne);
    }

    void Wait(Partner& partner) {
        if (!partner.model) return;
        const int expected = std::exchange(partner.newest, 0);
        try {
            partner.model->Synchronize();
            EXPECT_TRUE(expected == 0 || m_list.HasArrived(partner.id, expected))
                << "returned too early";
        } catch (const RemoteError& error) {
            EXPECT_EQ(0u, std::string(error.what()).find("Applist: "));
            partner.newest = 0;
        }
    }

    void BreakSomething() {
        switch (Below(9)) {
            case 0: m_bus.m_faults.loses = [this] { return Chance(30); }; return;
            case 1: m_bus.m_faults.loses = nullptr; return;
            case 2: m_bus.m_faults.serviceStands = !m_bus.m_faults.serviceStands; return;
            case 3: m_bus.m_faults.refuses = Chance(30); return;
            case 4: return m_bus.ConnectAgain();
            case 5: m_bus.KillService(); return EndService();
            case 6: return EndService();
            case 7: return m_bus.LoseBus();
            default: return EndPartner(AnyPartner());
        }
    }

    void MendSomething() {
        StartPartner(AnyPartner());
        if (Chance(50)) StartService();
        if (Chance(50)) m_bus.FindBus();
        if (Chance(50)) m_bus.m_faults.serviceStands = false;
    }

    void TakeAStep() {
        const std::size_t dice = Below(200);
        if (dice < 110) {
            m_bus.Step();
        } else if (dice < 135) {
            Edit();
        } else if (dice < 160) {
            Write(AnyPartner());
        } else if (dice < 180) {
            m_bus.Pass(Milliseconds(Below(200)));
        } else if (dice < 182) {
            m_bus.Pass(Milliseconds(Below(6000)));
        } else if (dice < 186) {
            Wait(AnyPartner());
        } else if (dice < 191) {
            BreakSomething();
        } else {
            MendSomething();
        }
    }

    void Heal() {
        const bool wasLost = !m_bus.IsThere();
        m_bus.m_faults = pair::Faults();
        if (wasLost) m_bus.FindBus();
    }

    void StartRound() {
        m_bus.m_faults.pick = [this](std::size_t count) { return Below(count); };
        m_bus.m_faults.reordersKinds = Chance(50);
    }

    // What the partners must show once all is quiet.
    std::string Truth() { return m_service ? ContentOf(m_list) : "()"; }

    void CheckShadows() {
        for (Partner& partner : m_partners) {
            if (partner.model) partner.shadow->CheckThatItIsUpToDate();
        }
    }

    pair::Bus& m_bus = pair::Bus::Get();
    std::mt19937 m_random{kSeed};
    BookkeepingList m_list{Complain};
    std::unique_ptr<LocalAppListModel> m_service;
    std::vector<Partner> m_partners{kPartners};
    std::size_t m_partnersSoFar = 0;
};

TEST_F(ReplicasOverABadBus, EqualTheServiceAfterEveryRound) {
    for (int round = 0; round < kRounds; ++round) {
        SCOPED_TRACE("seed " + std::to_string(kSeed) + ", round " + std::to_string(round));
        StartRound();
        for (int step = 0; step < kStepsPerRound; ++step) {
            TakeAStep();
            if (step % 10 == 0) CheckShadows();
            ASSERT_FALSE(HasFailure()) << "in step " << step;
        }

        Heal();
        m_bus.RunFor(Milliseconds(5000));

        CheckShadows();
        for (Partner& partner : m_partners) {
            if (!partner.model) continue;
            ASSERT_EQ(Truth(), ContentOf(*partner.model));
        }
        ASSERT_FALSE(HasFailure());
    }
}
