// SPDX-License-Identifier: MIT

#include <algorithm>

#include "partner/PairTest.h"
#include "partner/Replica.h"

using applist::Replica;

class FollowingAService : public PairTest {
protected:
    // Each parcel takes `time` on its way, in both directions.
    void LetReadsTake(Milliseconds time) {
        m_bus.m_faults.beforeStep = [this, time] { m_bus.Pass(time); };
    }
};

TEST_F(FollowingAService, CostsNoFetchWhileNothingHappens) {
    StartBoth();

    m_bus.RunFor(Milliseconds(60 * 60 * 1000));

    EXPECT_EQ((std::vector<int>{}), m_bus.m_executed);
}

TEST_F(FollowingAService, CostsOneFetchAtTheStart) {
    StartService();
    StartPartner();
    m_bus.RunFor(Milliseconds(60000));

    EXPECT_EQ(1u, Fetches());
}

TEST_F(FollowingAService, CostsOneFetchPerSeparateChange) {
    StartBoth();

    for (int count = 0; count < 5; ++count) {
        m_list.Add("Name", std::to_string(count));
        m_bus.RunFor(Milliseconds(10000));
    }

    EXPECT_EQ(5u, Fetches());
}

TEST_F(FollowingAService, CostsTwoFetchesForABurstThatArrivesAtOnce) {
    StartBoth();

    for (int count = 0; count < 10000; ++count) m_list.TellOfNothing();
    m_list.Add("Last", "last");
    m_bus.RunFor(Milliseconds(5000));

    EXPECT_EQ("Last/last ()", Replica());
    EXPECT_LE(Fetches(), 2u);
}

// Each event arrives alone, and every reply before the next event: nothing but the clock can keep
// the fetches few.
TEST_F(FollowingAService, CostsAFetchAFrameAndTwoMoreForABurstThatDripsIn) {
    StartBoth();
    const Milliseconds start = m_bus.Now();

    for (int count = 0; count < 10000; ++count) {
        m_list.TellOfNothing();
        m_bus.Run();
        if (count % 10 == 0) m_bus.RunFor(Milliseconds(1));
    }
    const auto frames = static_cast<std::size_t>((m_bus.Now() - start) / Milliseconds(16));
    m_list.Add("Last", "last");
    m_bus.RunFor(Milliseconds(5000));

    EXPECT_EQ("Last/last ()", Replica());
    EXPECT_LE(Fetches(), frames + 2);
    EXPECT_GE(Fetches(), frames - 5) << "as often as it may";
}

TEST_F(FollowingAService, ShowsTheFirstChangeOfABurstAtOnceAndTheLastAFrameLater) {
    StartBoth();

    m_list.Add("First", "first");
    m_bus.Run();
    EXPECT_EQ("First/first ()", Replica());
    for (int count = 0; count < 10000; ++count) m_list.TellOfNothing();
    m_list.Add("Last", "last");
    m_bus.RunFor(Milliseconds(16));

    EXPECT_EQ("First/first Last/last ()", Replica());
}

TEST_F(FollowingAService, ShowsEveryChangeAtTheRateOfAScreen) {
    StartBoth();
    for (const int changesASecond : {1, 10, 60}) {
        for (int count = 0; count < 3 * changesASecond; ++count) {
            const std::string name = std::to_string(changesASecond) + "." + std::to_string(count);
            m_list.RemoveAllItemsOfItsOwn();
            m_list.Add(name, "clock");
            m_bus.RunFor(Milliseconds(count % 3 == 0
                                          ? 1000 / changesASecond
                                          : (1000 + changesASecond - 1) / changesASecond));
            ASSERT_EQ(name + "/clock ()", Replica()) << changesASecond << " Hz";
        }
    }
}

TEST_F(FollowingAService, ShowsEverySelectionAtTheRateOfAScreenWithoutReadingTheList) {
    m_list.Fill(10);
    StartBoth();

    for (int count = 0; count < 60; ++count) {
        const std::string id = "id" + std::to_string(count % 10);
        m_list.Select(id);
        m_bus.RunFor(Milliseconds(17));
        ASSERT_EQ(id, m_model->GetSelection()->GetUnigueId());
    }

    EXPECT_EQ(0u, Fetches());
    EXPECT_EQ(60u, m_bus.CountOf(2001));
    EXPECT_EQ(Strings(60, "selected"), m_witness->Take());
}

TEST_F(FollowingAService, SelectsTheItemOfTheReplicaWhenItReadsTheSelectionAlone) {
    m_list.Fill(3);
    StartBoth();

    m_list.Select("id1");
    m_bus.Run();

    EXPECT_EQ(m_model->GetAllItems()[1], m_model->GetSelection());
    EXPECT_EQ((std::vector<int>{2001}), m_bus.m_executed);
}

TEST_F(FollowingAService, ReadsTheListOfASelectionThatItDoesNotShow) {
    m_list.Fill(3);
    StartBoth();

    m_list.SelectOutside("Outside", "outside");
    m_bus.RunFor(Milliseconds(1000));

    EXPECT_EQ("outside", m_model->GetSelection()->GetUnigueId());
    EXPECT_EQ((std::vector<int>{2001, 2002, 2001}), m_bus.m_executed);
    EXPECT_EQ(Strings{"selected"}, m_witness->Take());
}

// A step is a request, a reply or an event; a read of the list is four, or three when no event
// comes between them, and the smallest cost is what counts.
TEST_F(FollowingAService, ReadsLessOftenWhatCostsMore) {
    StartBoth();
    LetReadsTake(Milliseconds(5));
    const auto flood = [this](int events) {
        for (int count = 0; count < events; ++count) {
            m_list.TellOfNothing();
            m_bus.RunFor(Milliseconds(5));
        }
    };
    flood(1000);  // until it knows what they cost now
    m_bus.m_executed.clear();
    const Milliseconds start = m_bus.Now();

    flood(2000);

    const auto reads = static_cast<long>(Fetches());
    EXPECT_LE(reads * Milliseconds(15), (m_bus.Now() - start) / 20 + Milliseconds(100));
    EXPECT_GE(reads * Milliseconds(20), (m_bus.Now() - start) / 40);
}

TEST_F(FollowingAService, ShowsTheLastChangeOfABurstWhatReadsMayCost) {
    for (const int cost : {1, 10, 100}) {
        StartBoth();
        LetReadsTake(Milliseconds(cost));
        for (int count = 0; count < 50; ++count) {
            m_list.TellOfNothing();
            m_bus.RunFor(Milliseconds(10));
        }
        m_list.Add("Last", "last");
        m_bus.RunFor(Milliseconds(1000 + 10 * cost));
        EXPECT_EQ("Last/last ()", Replica()) << cost << " ms";

        m_bus.m_faults = pair::Faults();
        m_witness.reset();
        m_model.reset();
        EndService();
        m_bus.Run();
        m_list.RemoveAllItems();
    }
}

TEST_F(FollowingAService, ReadsTheFirstServiceAtOnceAndTheNextWithinTwentyMilliseconds) {
    m_list.Add("Maps", "maps");
    StartService();
    StartPartner();
    m_bus.Run();
    ASSERT_EQ("Maps/maps ()", Replica());

    int late = 0;
    for (int count = 0; count < 50; ++count) {
        EndService();
        StartService();
        m_bus.Run();
        if (Replica() == "()") ++late;
        m_bus.RunFor(Milliseconds(20));
        ASSERT_EQ("Maps/maps ()", Replica());
    }
    EXPECT_GT(late, 25) << "many partners would read at once";
}

TEST_F(FollowingAService, SpreadsTheReadsOfManyPartnersAfterTheBusWasLost) {
    constexpr std::size_t kModels = 100;
    StartService();
    std::vector<std::unique_ptr<applist::RemoteAppListModel>> models(kModels);
    for (auto& model : models) model = std::make_unique<applist::RemoteAppListModel>();
    m_bus.RunFor(Milliseconds(200));
    m_bus.m_executed.clear();

    m_bus.LoseBus();
    m_bus.FindBus();
    std::size_t most = 0;
    for (int millisecond = 0; millisecond <= 20; ++millisecond) {
        const std::size_t before = Fetches();
        m_bus.RunFor(Milliseconds(millisecond == 0 ? 0 : 1));
        most = std::max(most, Fetches() - before);
    }

    EXPECT_EQ(kModels, Fetches());
    EXPECT_LT(most, kModels / 4) << "in one millisecond";
}

TEST_F(FollowingAService, GoesOnAtOnceAfterABurst) {
    StartBoth();
    for (int count = 0; count < 10000; ++count) m_list.TellOfNothing();
    m_bus.RunFor(Milliseconds(5000));

    m_list.Add("Maps", "maps");
    m_bus.Run();

    EXPECT_EQ("Maps/maps ()", Replica());
}

TEST_F(FollowingAService, FetchesAgainWhenAChangeCameWhileAFetchWasUnderWay) {
    StartBoth();
    m_list.Add("Maps", "maps");
    while (Fetches() == 0 && m_bus.Step()) continue;

    m_list.Add("Radio", "radio");
    m_bus.RunFor(Milliseconds(16));

    EXPECT_EQ("Maps/maps Radio/radio ()", Replica());
    EXPECT_EQ(2u, Fetches());
}

TEST_F(FollowingAService, DoesNotDependOnTheServicesAnnouncement) {
    m_list.Add("Maps", "maps");
    m_bus.m_faults.loses = [] { return true; };
    StartService();
    StartPartner();
    m_bus.RunFor(Milliseconds(1000));

    EXPECT_EQ("Maps/maps ()", Replica());
}

// ---- Losses -------------------------------------------------------------------------------------

TEST_F(FollowingAService, NoticesTheLossOfASingleEventWithinFiveSeconds) {
    StartBoth();
    m_bus.m_faults.loses = [] { return true; };

    m_list.Add("Maps", "maps");
    m_bus.RunFor(Milliseconds(5000));

    EXPECT_EQ("Maps/maps ()", Replica());
    EXPECT_EQ(Strings{"changed"}, m_witness->Take());
}

TEST_F(FollowingAService, NoticesTheLossOfTheEndOfABurstWithinFiveSeconds) {
    StartBoth();
    int events = 0;
    m_bus.m_faults.loses = [&] { return ++events > 100; };

    for (int count = 0; count < 1000; ++count) m_list.TellOfNothing();
    m_list.Add("Last", "last");
    m_bus.RunFor(Milliseconds(5000));

    EXPECT_EQ("Last/last ()", Replica());
}

TEST_F(FollowingAService, DoesNotSayThatTheServiceIsThereAgainAfterALoss) {
    StartBoth();
    m_bus.m_faults.loses = [] { return true; };

    m_list.Select("nothing");
    m_list.TellOfNothing();
    m_bus.RunFor(Milliseconds(5000));

    EXPECT_EQ(Strings{}, m_witness->Take());
}

TEST_F(FollowingAService, ReadsTheListAnewWhenTheServiceGoesOnAfterItStood) {
    StartBoth();
    m_bus.m_faults.serviceStands = true;
    m_bus.m_faults.loses = [] { return true; };
    m_list.Add("Maps", "maps");
    m_bus.RunFor(Milliseconds(60000));
    ASSERT_EQ("()", Replica());

    m_bus.m_faults.serviceStands = false;
    m_bus.RunFor(Milliseconds(2000));

    EXPECT_EQ("Maps/maps ()", Replica());
}

TEST_F(FollowingAService, ReadsTheListAnewAfterAFetchTimedOut) {
    StartBoth();
    m_list.Add("Maps", "maps");
    while (m_bus.Now() < Milliseconds(10000)) {
        m_bus.m_faults.serviceStands = true;
        m_bus.RunFor(Milliseconds(1000));
    }
    ASSERT_EQ("()", Replica());

    m_bus.m_faults.serviceStands = false;
    m_bus.RunFor(Milliseconds(2000));

    EXPECT_EQ("Maps/maps ()", Replica());
}

TEST_F(FollowingAService, ReadsTheListAnewThatItCouldNotReadBecauseTooMuchWaited) {
    StartBoth();
    FillQueue();
    m_bus.m_faults.serviceStands = true;
    m_list.Add("Maps", "maps");
    m_bus.Run();
    ASSERT_EQ("()", Replica());

    m_bus.m_faults.serviceStands = false;
    m_bus.RunFor(Milliseconds(2000));

    EXPECT_EQ("Maps/maps ()", Replica());
}

// ---- Disconnecting at every step ----------------------------------------------------------------

// How many steps the bus takes from the start of both sides until all is quiet.
class AConnectionThatIsCut : public PairTest {
protected:
    // Runs a service and a partner that writes, `steps` steps far; true when there were more.
    bool RunFarEnough(std::size_t steps) {
        m_list.Fill(3);
        StartService();
        StartPartner();
        RemoteAppListItem item("Written", "written");
        m_model->AddItemAtEnd(&item);
        for (std::size_t step = 0; step < steps; ++step) {
            if (!m_bus.Step()) return false;
        }
        return true;
    }

    void StartAnew() {
        m_witness.reset();
        m_model.reset();
        EndService();
        m_bus.Run();
        m_list.RemoveAllItems();
        m_bus.m_executed.clear();
    }
};

TEST_F(AConnectionThatIsCut, IsWholeAgainAtWhateverStepTheServiceWasKilled) {
    for (std::size_t steps = 0; RunFarEnough(steps); ++steps, StartAnew()) {
        KillService();
        m_bus.RunFor(Milliseconds(1000));
        ASSERT_EQ("()", Replica()) << "killed after " << steps << " steps";

        StartService();
        m_bus.RunFor(Milliseconds(2000));
        ASSERT_EQ(ContentOf(m_list), Replica()) << "killed after " << steps << " steps";
        ASSERT_LE(m_bus.CountOf(2005), 1u) << "sent again; killed after " << steps << " steps";
    }
}

TEST_F(AConnectionThatIsCut, IsWholeAgainAtWhateverStepTheServiceWasRestarted) {
    for (std::size_t steps = 0; RunFarEnough(steps); ++steps, StartAnew()) {
        EndService();
        StartService();
        m_bus.RunFor(Milliseconds(2000));
        ASSERT_EQ(ContentOf(m_list), Replica()) << "restarted after " << steps << " steps";
        ASSERT_LE(m_bus.CountOf(2005), 1u) << "sent again; restarted after " << steps << " steps";
    }
}

TEST_F(AConnectionThatIsCut, IsWholeAgainAtWhateverStepTheBusWasLost) {
    for (std::size_t steps = 0; RunFarEnough(steps); ++steps, StartAnew()) {
        m_bus.LoseBus();
        ASSERT_EQ("()", Replica()) << "lost after " << steps << " steps";
        m_bus.FindBus();
        m_bus.RunFor(Milliseconds(2000));
        ASSERT_EQ(ContentOf(m_list), Replica()) << "lost after " << steps << " steps";
        ASSERT_LE(m_bus.CountOf(2005), 1u) << "sent again; lost after " << steps << " steps";
    }
}

TEST_F(AConnectionThatIsCut, LeavesNothingBehindAtWhateverStepThePartnerWasDestroyed) {
    for (std::size_t steps = 0; RunFarEnough(steps); ++steps, StartAnew()) {
        m_witness.reset();
        m_model.reset();
        m_bus.RunFor(Milliseconds(2000));
        StartPartner();
        m_bus.RunFor(Milliseconds(2000));
        ASSERT_EQ(ContentOf(m_list), Replica()) << "destroyed after " << steps << " steps";
    }
}
