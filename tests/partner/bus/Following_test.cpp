// SPDX-License-Identifier: MIT

#include "partner/bus/PartnerBusTest.h"
#include "support/ProcessState.h"

using applist::RemoteError;
using applist::TransportError;

class APartnerOnABus : public PartnerBusTest {};

ON_BOTH_BUSES(APartnerOnABus);

// ---- Orders of start ----------------------------------------------------------------------------

TEST_P(APartnerOnABus, ShowsAServiceThatWasThereBefore) {
    StartService();
    const std::string content = m_service->Ask("add maps");
    StartPartner();

    EXPECT_TRUE(Shows(content, kBack));
    EXPECT_EQ((Strings{"there", "changed"}), m_witness->Take());
}

TEST_P(APartnerOnABus, ShowsAServiceThatComesLater) {
    StartPartner();
    RunWhatIsReady();
    ASSERT_EQ("NoService", CauseOfSynchronize());
    StartService();

    EXPECT_TRUE(Shows(m_service->Ask("add maps"), kBack));
    EXPECT_EQ((Strings{"there", "changed"}), m_witness->Take());
}

TEST_P(APartnerOnABus, ShowsAServiceThatComesAtTheSameTime) {
    StartPartner();
    StartService();

    EXPECT_TRUE(Shows(m_service->Ask("add maps"), kBack));
}

TEST_P(APartnerOnABus, CannotBeBuiltWithoutABus) {
    m_bus->Kill();

    try {
        StartPartner();
        FAIL() << "built";
    } catch (const TransportError& error) {
        EXPECT_NE(std::string::npos, std::string(error.what()).find("cannot reach"))
            << error.what();
    }
}

// ---- Ends and returns ---------------------------------------------------------------------------

class APartnerThatFollows : public PartnerBusTest {
protected:
    APartnerThatFollows() {
        StartService();
        const std::string content = m_service->Ask("add maps");
        StartPartner();
        EXPECT_TRUE(Shows(content, kBack));
        m_witness->Take();
    }

    bool SeesTheServiceGo() {
        return RunUntil([&] { return !m_model->IsServiceThere(); }) && DigestOf(*m_model) == "()";
    }
};

ON_BOTH_BUSES(APartnerThatFollows);

TEST_P(APartnerThatFollows, IsEmptyWhenTheServiceEnds) {
    EXPECT_EQ(0, m_service->End());

    EXPECT_TRUE(SeesTheServiceGo());
    EXPECT_EQ((Strings{"changed", "gone"}), m_witness->Take());
}

TEST_P(APartnerThatFollows, ShowsTheListOfTheNextService) {
    m_service->End();
    ASSERT_TRUE(SeesTheServiceGo());
    StartService();

    EXPECT_TRUE(Shows(m_service->Ask("add radio"), kBack));
    EXPECT_EQ((Strings{"changed", "gone", "there", "changed"}), m_witness->Take());
}

TEST_P(APartnerThatFollows, IsEmptyWhenTheServiceIsKilled) {
    m_service->Kill();

    EXPECT_TRUE(SeesTheServiceGo());
}

TEST_P(APartnerThatFollows, ShowsTheListOfTheNextServiceAfterAKillWithoutALookInBetween) {
    m_service->Kill();
    m_service.reset();
    StartService();

    EXPECT_TRUE(Shows(m_service->Ask("add radio"), kBack));
}

TEST_P(APartnerThatFollows, ShowsWhatHappenedWhenAServiceThatStoodGoesOn) {
    m_service->Stop();
    m_model->SetTimeout(milliseconds(100));
    RemoteAppListItem item("Written", "written");
    m_model->AddItemAtEnd(&item);
    EXPECT_EQ("TimedOut", CauseOfSynchronize());
    EXPECT_TRUE(m_model->IsServiceThere());
    EXPECT_EQ("Name of maps/maps ()", DigestOf(*m_model));

    m_service->Continue();

    EXPECT_TRUE(Shows("Name of maps/maps Written/written ()", kBack));
}

TEST_P(APartnerThatFollows, ShowsTheListAgainAfterTheBusWasRestarted) {
    m_bus->Kill();
    ASSERT_TRUE(SeesTheServiceGo());
    EXPECT_EQ("NoService", CauseOfSynchronize());
    m_bus->Start();

    ASSERT_TRUE(RunUntil([&] { return m_model->IsServiceThere(); }));
    EXPECT_TRUE(Shows("Name of maps/maps ()", kBack));
    EXPECT_EQ((Strings{"changed", "gone", "there", "changed"}), m_witness->Take());
}

TEST_P(APartnerThatFollows, GoesOnWhenTheBusStoodForAWhile) {
    m_bus->Stop();
    m_service->Tell("add radio");
    RunWhatIsReady();
    EXPECT_EQ("Name of maps/maps ()", DigestOf(*m_model));
    m_bus->Continue();

    EXPECT_TRUE(Shows(m_service->Hear(), kBack));
}

TEST_P(APartnerThatFollows, ShowsEachSelection) {
    m_service->Ask("add radio");

    EXPECT_TRUE(Shows(m_service->Ask("select radio"), kBack));
    EXPECT_EQ("radio", m_model->GetSelection()->GetUnigueId());
}

// A partner may destroy its model from inside anything that it is told.
TEST_P(APartnerThatFollows, MayDestroyItsModelWhenItIsTold) {
    m_witness->m_onTold = [this](const std::string&) {
        m_witness->Forget();
        m_model.reset();
    };
    m_service->Ask("add radio");

    EXPECT_TRUE(RunUntil([&] { return !m_model; }));
    EXPECT_EQ("Name of maps/maps Name of radio/radio ()", m_service->Ask("content"));
}

TEST_P(APartnerThatFollows, MayDestroyItsModelWhenItIsToldInsideSynchronize) {
    m_witness->m_onTold = [this](const std::string&) {
        m_witness->Forget();
        m_model.reset();
    };
    m_service->Ask("add radio");

    EXPECT_THROW(m_model->Synchronize(), RemoteError);
    EXPECT_FALSE(m_model);
}

TEST_P(APartnerThatFollows, MayDestroyItsModelWhenTheBusIsGone) {
    m_witness->m_onTold = [this](const std::string&) {
        m_witness->Forget();
        m_model.reset();
    };
    m_bus->Kill();

    EXPECT_TRUE(RunUntil([&] { return !m_model; }));
}

TEST_P(APartnerThatFollows, SendsWhatItWritesJustBeforeItsModelIsDestroyedFromInside) {
    m_witness->m_onTold = [this](const std::string&) {
        RemoteAppListItem item("Written", "written");
        m_model->AddItemAtEnd(&item);
        m_witness->Forget();
        m_model.reset();
    };
    m_service->Ask("add radio");
    ASSERT_TRUE(RunUntil([&] { return !m_model; }));

    StartPartner();
    EXPECT_TRUE(Shows("Name of maps/maps Name of radio/radio Written/written ()", kBack));
}

TEST_P(APartnerThatFollows, CannotWaitFromInsideAListener) {
    std::string cause;
    m_witness->m_onTold = [&](const std::string&) { cause = CauseOfSynchronize(); };
    m_service->Ask("add radio");

    EXPECT_TRUE(RunUntil([&] { return !cause.empty(); }));
    EXPECT_EQ("Failed", cause);
}

TEST_P(APartnerThatFollows, LeavesNothingBehind) {
    EndPartner();
    const ProcessState before = ProcessState::Now();

    StartPartner();
    ASSERT_TRUE(Shows("Name of maps/maps ()", kBack));
    m_bus->Kill();
    ASSERT_TRUE(SeesTheServiceGo());
    m_bus->Start();
    ASSERT_TRUE(Shows("Name of maps/maps ()", kTestDeadline));
    EndPartner();

    EXPECT_EQ(before, ProcessState::Now());
}

// ---- Bursts and losses --------------------------------------------------------------------------

class APartnerOfABusyService : public PartnerBusTest {
protected:
    APartnerOfABusyService() {
        StartServiceHere();
        m_list.Add("Maps", "maps");
        StartPartner();
        EXPECT_TRUE(Shows("Maps/maps ()", kBack));
        m_reads = m_list.m_reads;
    }

    // Since the partner was up. (Looking at the list's digest counts as well.)
    std::size_t Fetches() const { return m_list.m_reads - m_reads; }

    std::size_t m_reads = 0;
};

ON_BOTH_BUSES(APartnerOfABusyService);

TEST_P(APartnerOfABusyService, CostsAtMostFiveFetchesForTenThousandEvents) {
    for (int count = 0; count < 10000; ++count) m_list.TellOfNothing();
    m_list.Add("Last", "last");

    EXPECT_TRUE(Shows("Maps/maps Last/last ()", kAfterLoss));
    EXPECT_LE(Fetches(), 5u);
    EXPECT_GE(Fetches(), 1u);
}

TEST_P(APartnerOfABusyService, CostsAFetchAFrameForTenThousandEventsThatAreReadOneByOne) {
    const auto start = std::chrono::steady_clock::now();
    for (int count = 0; count < 10000; ++count) {
        m_list.TellOfNothing();
        sd_event_run(TestLoop(), 0);
    }
    m_list.Add("Last", "last");

    EXPECT_TRUE(Shows("Maps/maps Last/last ()", kAfterLoss));
    const auto frames = (std::chrono::steady_clock::now() - start) / milliseconds(16);
    EXPECT_LE(Fetches(), static_cast<std::size_t>(frames) + 2);
}

TEST_P(APartnerOfABusyService, TellsItsListenersOnceOfABurst) {
    m_witness->Take();

    for (int count = 0; count < 10000; ++count) m_list.TellOfNothing();
    m_list.Add("Last", "last");

    EXPECT_TRUE(Shows("Maps/maps Last/last ()", kAfterLoss));
    EXPECT_EQ(Strings{"changed"}, m_witness->Take());
}

namespace {

// `partner` stands while `service` changes its list, and shows the list soon after.
void StandsThroughAFlood(SideProcess& partner, SideProcess& service) {
    partner.Stop();
    service.Ask("tell 10000");
    const std::string content = service.Ask("edit 10001");
    partner.Continue();
    const auto start = std::chrono::steady_clock::now();

    EXPECT_EQ("shown", partner.Ask("await " + content));
    EXPECT_LT(std::chrono::steady_clock::now() - start, kAfterLoss);
}

}  // namespace

TEST_P(APartnerOnABus, ShowsTheListSoonAfterItStoodItselfDuringAFlood) {
    StartService();
    SideProcess partner("partner", m_bus->Address());
    ASSERT_EQ("shown", partner.Ask("await " + m_service->Ask("add maps")));

    StandsThroughAFlood(partner, *m_service);
}

namespace {

const char kKeepsLittle[] =
    "<policy context=\"default\"><allow send_destination=\"*\"/><allow receive_sender=\"*\"/>"
    "<allow own=\"*\"/></policy><limit name=\"max_outgoing_bytes\">4096</limit>";

}  // namespace

// It drops what a slow reader does not take, answers to its calls included, and tells only its log.
class AForgetfulBus : public PartnerBusTest {
protected:
    AForgetfulBus() : PartnerBusTest(kKeepsLittle) {}
};

INSTANTIATE_TEST_SUITE_P(OfTheDaemon, AForgetfulBus,
                         ::testing::Values(BusVariety{BusProgram::Daemon, BusLimits::BuiltIn}),
                         [](const auto& test) { return NameOf(test.param); });

TEST_P(AForgetfulBus, HidesNoChangeFromAPartnerThatStood) {
    StartService();
    SideProcess partner("partner", m_bus->Address());
    // An answer that the bus drops is waited for so long before the list is read again.
    ASSERT_EQ("set", partner.Ask("timeout 1000"));
    ASSERT_EQ("shown", partner.Ask("await " + m_service->Ask("add maps")));

    StandsThroughAFlood(partner, *m_service);
    EXPECT_NE(std::string::npos, m_bus->Output().find("a full message queue"))
        << "the bus dropped nothing";
}
