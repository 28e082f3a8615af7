// SPDX-License-Identifier: MIT

// A bus that dies under an endpoint, and comes again.

#include "support/BusFaults.h"
#include "support/CapturedLog.h"
#include "support/EndpointTest.h"
#include "support/ProcessState.h"
#include "support/SilentBus.h"

class AnEndpointWhoseBusDies : public EndpointTest {
protected:
    // Ends the bus and runs the loop until the endpoint has noticed.
    void Kill() {
        const std::size_t before = ErrorsLogged("lost the bus");
        m_bus.Kill();
        EXPECT_TRUE(RunUntil([&] { return ErrorsLogged("lost the bus") > before; }));
    }

    // Starts the bus again; returns a client of it when the endpoint has its name back.
    std::unique_ptr<BusClient> Return() {
        m_bus.Start();
        return ClientOnceItIsBack();
    }

    // Owns the name before the endpoint can have it back: the loop does not run meanwhile.
    sd_bus* StealName() {
        sd_bus* thief = nullptr;
        EXPECT_GE(sd_bus_new(&thief), 0);
        EXPECT_GE(sd_bus_set_address(thief, m_bus.Address().c_str()), 0);
        EXPECT_GE(sd_bus_set_bus_client(thief, 1), 0);
        EXPECT_GE(sd_bus_start(thief), 0);
        EXPECT_GE(sd_bus_request_name(thief, kApplistName, 0), 0);
        return thief;
    }

    std::unique_ptr<BusClient> ClientOnceItIsBack() {
        std::unique_ptr<BusClient> client = NewClient();
        EXPECT_TRUE(client->WaitForOwner(kApplistName)) << WholeLog();
        return client;
    }
};

ON_EVERY_BUS_AND_OVER_CHANNELS(AnEndpointWhoseBusDies);

TEST_P(AnEndpointWhoseBusDies, ReportsItsPartnersGone) {
    const auto one = NewClient();
    const auto other = NewClient();
    one->Connect();
    other->Connect();
    m_endpoint->m_events.clear();

    Kill();

    EXPECT_EQ((Strings{"gone " + one->Name(), "gone " + other->Name()}), m_endpoint->m_events);
}

TEST_P(AnEndpointWhoseBusDies, ComesBackWithItsNameAndItsObject) {
    Kill();

    const auto client = Return();

    EXPECT_EQ("a call", client->Message("a call").body);
    EXPECT_EQ("by memfd", ContentOf(client->MessageFd(MemfdOf("by memfd").Get()).fd->Get()));
}

TEST_P(AnEndpointWhoseBusDies, SaysOnceThatItLostTheBusAndOnceThatItIsBack) {
    Kill();
    EXPECT_TRUE(RunUntil([] { return DebugsLogged("cannot reconnect") == 3; }));
    Return();
    RunWhatIsReady();

    EXPECT_EQ(1u, ErrorsLogged("")) << WholeLog();
    EXPECT_EQ(1u, ErrorsLogged("lost the bus at " + m_bus.Address())) << WholeLog();
    EXPECT_EQ(1u, InfosLogged("back on the bus at " + m_bus.Address())) << WholeLog();
}

TEST_P(AnEndpointWhoseBusDies, LooksLessOftenTheLongerItTakes) {
    Kill();
    using Clock = std::chrono::steady_clock;
    const Clock::time_point start = Clock::now();

    EXPECT_TRUE(RunUntil([] { return DebugsLogged("cannot reconnect") == 4; })) << WholeLog();

    // 100, 200, 400 and 800 ms.
    EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(1400));
    EXPECT_LT(Clock::now() - start, std::chrono::milliseconds(5000));
}

TEST_P(AnEndpointWhoseBusDies, KnowsItsNewPartnersAndReportsThem) {
    NewClient()->Connect();
    Kill();
    auto partner = Return();
    m_endpoint->m_events.clear();
    const std::string name = partner->Name();

    partner->Connect();
    partner.reset();

    EXPECT_TRUE(RunUntil([&] { return m_endpoint->m_events.size() == 2; }));
    EXPECT_EQ((Strings{"ready " + name, "gone " + name}), m_endpoint->m_events);
}

TEST_P(AnEndpointWhoseBusDies, SendsNotificationsAgainWhenItIsBack) {
    Kill();
    const auto client = Return();
    client->Subscribe();
    client->Message("a call");

    m_endpoint->Tell("changed");

    EXPECT_TRUE(RunUntil([&] { return client->m_arrivals.back() == "notification changed"; }));
}

TEST_P(AnEndpointWhoseBusDies, CountsWhatItCouldNotSendMeanwhile) {
    m_endpoint->Tell("before");
    Kill();
    for (int number = 0; number < 5000; ++number) m_endpoint->Tell("while it was away");

    const auto client = Return();

    EXPECT_EQ(5001u, client->ReadSerial().number);
}

TEST_P(AnEndpointWhoseBusDies, LetsTheApplicationNotifyFromTheReportOfTheLoss) {
    const auto partner = NewClient();
    partner->Connect();
    m_endpoint->m_onReady = [this](bool, const std::string& name) {
        m_endpoint->Tell("it left");
        m_endpoint->Tell("too late", name);
    };

    Kill();

    EXPECT_EQ("a call", Return()->Message("a call").body);
}

TEST_P(AnEndpointWhoseBusDies, ComesBackAlsoWhenNotificationsWaited) {
    auto partner = NewClient();
    partner->Connect();
    m_bus.Stop();
    m_endpoint->Clog();
    Kill();

    const auto client = Return();

    EXPECT_EQ("gone " + partner->Name(), m_endpoint->m_events.back());
    EXPECT_EQ("a call", client->Message("a call").body);
}

// Only this end has failed: the bus runs, and its socket is open and writable.
TEST_P(AnEndpointWhoseBusDies, ComesBackAlsoWhenTheConnectionFailsUnderABusThatRuns) {
    const auto partner = NewClient();
    partner->Connect();
    m_bus.Stop();
    m_endpoint->Clog();
    {
        const FailingBusCall fault(BusCall::Process, -ENOMEM);
        m_bus.Continue();
        ASSERT_TRUE(RunUntil([&] { return m_endpoint->m_events.size() == 2; })) << WholeLog();
    }

    EXPECT_TRUE(RunUntil([] { return InfosLogged("back on") == 1; })) << WholeLog();

    EXPECT_EQ((Strings{"ready " + partner->Name(), "gone " + partner->Name()}),
              m_endpoint->m_events);
    EXPECT_EQ(1u, ErrorsLogged("lost the bus")) << WholeLog();
    EXPECT_EQ("a call", NewClient()->Message("a call").body);
}

// The library's own matches are then in a state in which the next message ends the program.
TEST_P(AnEndpointWhoseBusDies, LeavesTheBusWhenThereIsNoMemoryToTrackAPartner) {
    const auto partner = NewStranger();
    {
        const FailingBusCall fault(BusCall::AddMatch, -ENOMEM);
        EXPECT_EQ("org.freedesktop.DBus.Error.NoMemory", partner->Connect().error);
    }

    EXPECT_TRUE(RunUntil([] { return InfosLogged("back on") == 1; })) << WholeLog();

    EXPECT_EQ(Strings{}, m_endpoint->m_events);
    EXPECT_EQ("a call", partner->Message("a call").body);
    EXPECT_EQ("", NewClient()->Connect().error);
}

TEST_P(AnEndpointWhoseBusDies, ForgetsTheCallsThatWereHeldForIt) {
    const auto client = NewClient();
    m_endpoint->m_answer = [this](const std::string& request) {
        if (request == "slow") {
            m_bus.Stop();
            m_endpoint->Clog();
        }
        return request;
    };
    client->Connect();
    client->Start("Message", "slow");
    for (int number = 0; number < 10; ++number) client->Start("Message", "held");
    RunUntil([this] { return m_endpoint->m_events.back() == "message slow"; });
    Kill();

    const auto next = Return();

    EXPECT_EQ("a call", next->Message("a call").body);
    EXPECT_EQ((Strings{"ready " + client->Name(), "message slow", "gone " + client->Name(),
                       "message a call"}),
              m_endpoint->m_events);
}

TEST_P(AnEndpointWhoseBusDies, ComesBackWhenItsNameIsFreeAgain) {
    Kill();
    m_bus.Start();
    sd_bus* const thief = StealName();
    EXPECT_TRUE(RunUntil([] { return ErrorsLogged("cannot own") > 0; })) << WholeLog();

    sd_bus_close_unref(thief);

    EXPECT_TRUE(RunUntil([] { return InfosLogged("back on") > 0; })) << WholeLog();
    EXPECT_EQ("a call", NewClient()->Message("a call").body);
}

TEST_P(AnEndpointWhoseBusDies, EndsCleanlyWhileItIsAway) {
    Kill();

    EndEndpoint();

    RunWhatIsReady();
    EXPECT_EQ(0u, ArmedTimers());
}

TEST_P(AnEndpointWhoseBusDies, KeepsNothingOfTheBusesThatDied) {
    Kill();
    Return();
    const ProcessState before = ProcessState::Now();

    for (int time = 0; time < 5; ++time) {
        Kill();
        Return();
    }

    EXPECT_EQ(before, ProcessState::Now());
}

TEST_P(AnEndpointWhoseBusDies, IsIdleOnceItIsBack) {
    Kill();
    auto client = Return();
    client->Message("a call");

    EXPECT_TRUE(RunUntilNoTimerIsSet());
}

// ---- A bus that comes again and says nothing, once: it takes ten seconds ------------------------

class AnEndpointWhoseBusComesAgainMute : public AnEndpointWhoseBusDies {};

INSTANTIATE_TEST_SUITE_P(OnOneBus, AnEndpointWhoseBusComesAgainMute,
                         ::testing::Values(BusVariety{BusProgram::Daemon, BusLimits::Session}),
                         NameOfBus);

TEST_P(AnEndpointWhoseBusComesAgainMute, GivesThatOneUpAndFindsTheNext) {
    Kill();
    const SilentBus mute(m_bus.Address().substr(std::string("unix:path=").size()));
    ASSERT_TRUE(RunUntil([&] { return mute.HasVisitor(); }));

    const auto client = Return();

    EXPECT_EQ("a call", client->Message("a call").body);
}
