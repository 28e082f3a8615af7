#include "partner/PairTest.h"

using applist::Replica;

class FollowingAService : public PairTest {};

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

TEST_F(FollowingAService, CostsFewFetchesForABurstThatArrivesAtOnce) {
    StartBoth();

    for (int count = 0; count < 10000; ++count) m_list.TellOfNothing();
    m_list.Add("Last", "last");
    m_bus.RunFor(Milliseconds(5000));

    EXPECT_EQ("Last/last ()", Replica());
    EXPECT_LE(Fetches(), 5u);
}

// Each event arrives alone, and every reply before the next event: nothing but the clock can keep
// the fetches few.
TEST_F(FollowingAService, CostsFewFetchesForABurstThatDripsIn) {
    StartBoth();

    for (int count = 0; count < 10000; ++count) {
        m_list.TellOfNothing();
        m_bus.Run();
        if (count % 10 == 0) m_bus.RunFor(Milliseconds(1));
    }
    m_list.Add("Last", "last");
    m_bus.RunFor(Milliseconds(5000));

    EXPECT_EQ("Last/last ()", Replica());
    EXPECT_LE(Fetches(), 5u);
}

TEST_F(FollowingAService, ShowsTheFirstChangeOfABurstAtOnceAndTheLastWithinASecond) {
    StartBoth();

    m_list.Add("First", "first");
    m_bus.Run();
    EXPECT_EQ("First/first ()", Replica());
    for (int count = 0; count < 10000; ++count) m_list.TellOfNothing();
    m_list.Add("Last", "last");
    m_bus.RunFor(Milliseconds(1000));

    EXPECT_EQ("First/first Last/last ()", Replica());
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
    m_bus.RunFor(Milliseconds(1000));

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
