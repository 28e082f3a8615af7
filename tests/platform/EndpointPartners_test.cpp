// SPDX-License-Identifier: MIT

#include "support/CapturedLog.h"
#include "support/EndpointTest.h"

class AnEndpointsPartner : public EndpointTest {
protected:
    bool Happened(const Strings& events) {
        return RunUntil([&] { return m_endpoint->m_events.size() >= events.size(); }) &&
               m_endpoint->m_events == events;
    }

    std::unique_ptr<BusClient> m_client = NewStranger();
    const std::string m_name = m_client->Name();
};

ON_EVERY_BUS_AND_OVER_CHANNELS(AnEndpointsPartner);

// Over a channel Connect comes first.
class AnEndpointsPartnerThatDoesWithoutConnect : public AnEndpointsPartner {};

ON_EVERY_BUS(AnEndpointsPartnerThatDoesWithoutConnect);

TEST_P(AnEndpointsPartner, IsReportedByItsUniqueNameWhenItConnects) {
    const Answer answer = m_client->Connect();

    EXPECT_EQ("", answer.error) << answer.text;
    EXPECT_EQ("", answer.signature);
    EXPECT_EQ(Strings{"ready " + m_name}, m_endpoint->m_events);
}

TEST_P(AnEndpointsPartner, IsReportedEachTimeThatItConnects) {
    m_client->Connect();
    m_client->Connect();

    EXPECT_EQ((Strings{"ready " + m_name, "ready " + m_name}), m_endpoint->m_events);
}

TEST_P(AnEndpointsPartner, HearsTheReplyOfConnectBeforeWhatTheApplicationTellsIt) {
    m_endpoint->m_onReady = [this](bool, const std::string& partner) {
        m_endpoint->Tell("welcome", partner);
    };

    m_client->Connect();

    EXPECT_TRUE(RunUntil([&] { return m_client->m_arrivals.size() == 2; }));
    EXPECT_EQ((Strings{"reply Connect", "notification welcome"}), m_client->m_arrivals);
}

TEST_P(AnEndpointsPartner, IsReportedGoneWhenItDisconnects) {
    m_client->Connect();

    EXPECT_EQ("", m_client->Disconnect().error);

    EXPECT_EQ((Strings{"ready " + m_name, "gone " + m_name}), m_endpoint->m_events);
}

TEST_P(AnEndpointsPartner, IsCountedFromConnectOnUntilItLeaves) {
    EXPECT_EQ("", m_client->Connect().error);
    EXPECT_EQ("", m_client->Connect().error);
    const auto other = NewClient();
    ASSERT_EQ("", other->Connect().error);
    EXPECT_EQ(2u, m_client->ReadPartners().number);

    EXPECT_EQ("", m_client->Disconnect().error);

    EXPECT_EQ(1u, other->ReadPartners().number);
}

TEST_P(AnEndpointsPartnerThatDoesWithoutConnect, IsNotCounted) {
    m_client->Message("a call");

    const Answer answer = m_client->ReadPartners();

    EXPECT_EQ("", answer.error) << answer.text;
    EXPECT_EQ("v", answer.signature);
    EXPECT_EQ(0u, answer.number);
}

TEST_P(AnEndpointsPartnerThatDoesWithoutConnect, IsReportedGoneAlsoWhenItDisconnects) {
    EXPECT_EQ("", m_client->Disconnect().error);

    EXPECT_EQ(Strings{"gone " + m_name}, m_endpoint->m_events);
}

TEST_P(AnEndpointsPartner, IsReportedGoneWhenItLeavesTheBus) {
    m_client->Connect();

    m_client.reset();

    EXPECT_TRUE(Happened({"ready " + m_name, "gone " + m_name})) << WholeLog();
}

TEST_P(AnEndpointsPartner, IsReportedGoneOnceAlsoWhenItHadConnectedTwice) {
    const auto witness = NewClient();
    m_client->Connect();
    m_client->Connect();

    m_client.reset();

    EXPECT_TRUE(Happened({"ready " + m_name, "ready " + m_name, "gone " + m_name}));
    witness->Message("later");
    EXPECT_EQ("message later", m_endpoint->m_events.back());
    EXPECT_EQ(4u, m_endpoint->m_events.size());
}

TEST_P(AnEndpointsPartner, IsNotReportedAgainWhenItLeavesAfterADisconnect) {
    const auto witness = NewClient();
    m_client->Connect();
    m_client->Disconnect();

    m_client.reset();
    witness->Connect();
    witness->Message("later");

    EXPECT_EQ(
        (Strings{"ready " + m_name, "gone " + m_name, "ready " + witness->Name(), "message later"}),
        m_endpoint->m_events);
}

TEST_P(AnEndpointsPartnerThatDoesWithoutConnect, IsNotReportedWhenItLeaves) {
    const auto witness = NewClient();
    m_client->Message("hello");

    m_client.reset();
    witness->Message("later");

    EXPECT_EQ((Strings{"message hello", "message later"}), m_endpoint->m_events);
}

// The endpoint reads its Connect when the partner is long gone, so that the bus has nothing left to
// say about it.
TEST_P(AnEndpointsPartner, IsReportedGoneWhenItLeftBeforeTheEndpointHeardItConnect) {
    m_client->Start("Connect");
    sd_bus_flush(m_client->ToEndpoint());

    m_client.reset();

    EXPECT_TRUE(Happened({"ready " + m_name, "gone " + m_name})) << WholeLog();
}

TEST_P(AnEndpointsPartner, IsToldApartFromTheOthers) {
    const auto other = NewClient();
    m_client->Connect();
    other->Connect();

    m_client.reset();

    EXPECT_TRUE(Happened({"ready " + m_name, "ready " + other->Name(), "gone " + m_name}));
    EXPECT_EQ("hello", other->Message("hello").body);
}

TEST_P(AnEndpointsPartner, MayBeToldSomethingWhenItIsReportedGone) {
    const auto witness = NewClient();
    witness->Subscribe();
    witness->m_arrivals.clear();
    m_endpoint->m_onReady = [this](bool state, const std::string& partner) {
        if (!state) m_endpoint->Tell("it left");
        m_endpoint->Tell("for you", partner);
    };
    m_client->Connect();

    m_client.reset();

    EXPECT_TRUE(RunUntil([&] { return !witness->m_arrivals.empty(); }));
    EXPECT_EQ(Strings{"notification it left"}, witness->m_arrivals);
}

// A match that stays on the bus would count against the endpoint's quota: 512 of them, on a bus
// with built-in limits.
TEST_P(AnEndpointsPartner, LeavesNoMatchBehindWhenItDisconnects) {
    for (int time = 0; time < 600; ++time) {
        ASSERT_EQ("", m_client->Connect().error);
        ASSERT_EQ("", m_client->Disconnect().error);
    }
    m_endpoint->m_events.clear();
    m_client->Connect();

    m_client.reset();

    EXPECT_TRUE(Happened({"ready " + m_name, "gone " + m_name}));
    EXPECT_EQ(0u, ErrorsLogged("")) << WholeLog();
}

// ---- As many as there may be --------------------------------------------------------------------

// Only a session's limits let one user have so many connections. With the built-in ones the bus
// stops at 256, the endpoint's own included, and its 256th partner is turned away by the bus.
class AnEndpointWithManyPartners : public EndpointTest {
protected:
    AnEndpointWithManyPartners() {
        for (int number = 0; number < 255; ++number) {
            m_partners.push_back(NewClient());
            EXPECT_EQ("", m_partners.back()->Connect().error);
        }
    }

    std::vector<std::unique_ptr<BusClient>> m_partners;
};

INSTANTIATE_TEST_SUITE_P(OnBothBuses, AnEndpointWithManyPartners,
                         ::testing::Values(BusVariety{BusProgram::Daemon, BusLimits::Session},
                                           BusVariety{BusProgram::Broker, BusLimits::Session}),
                         NameOfBus);

TEST_P(AnEndpointWithManyPartners, TakesTheTwoHundredAndFiftySixth) {
    const auto partner = NewClient();

    EXPECT_EQ("", partner->Connect().error);

    EXPECT_EQ("ready " + partner->Name(), m_endpoint->m_events.back());
}

TEST_P(AnEndpointWithManyPartners, RefusesTheNextAndStillServesIt) {
    const auto last = NewClient();
    ASSERT_EQ("", last->Connect().error);
    const auto partner = NewClient();

    const Answer answer = partner->Connect();

    EXPECT_EQ(kLimitsExceeded, answer.error);
    EXPECT_NE(std::string::npos, answer.text.find("too many partners")) << answer.text;
    EXPECT_EQ("ready " + last->Name(), m_endpoint->m_events.back()) << "it was reported anyway";
    EXPECT_EQ("a call", partner->Message("a call").body);
}

TEST_P(AnEndpointWithManyPartners, LetsOneWhoIsConnectedConnectAgain) {
    const auto last = NewClient();
    ASSERT_EQ("", last->Connect().error);

    EXPECT_EQ("", m_partners.front()->Connect().error);
}

TEST_P(AnEndpointWithManyPartners, TakesAnotherWhenOneHasLeft) {
    const auto last = NewClient();
    ASSERT_EQ("", last->Connect().error);
    const std::string leaving = m_partners.front()->Name();
    m_partners.erase(m_partners.begin());
    ASSERT_TRUE(RunUntil([&] { return m_endpoint->m_events.back() == "gone " + leaving; }));

    EXPECT_EQ("", NewClient()->Connect().error);
}

TEST_P(AnEndpointWithManyPartners, ReportsEachOfThemWhenAllLeaveAtOnce) {
    const std::size_t before = m_endpoint->m_events.size();

    m_partners.clear();

    EXPECT_TRUE(RunUntil([&] { return m_endpoint->m_events.size() == before + 255; }));
    for (std::size_t at = before; at < m_endpoint->m_events.size(); ++at) {
        EXPECT_EQ("gone ", m_endpoint->m_events[at].substr(0, 5));
    }
}
