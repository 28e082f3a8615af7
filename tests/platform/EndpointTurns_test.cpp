// Partners that send much, and others who have to wait for them.

#include <algorithm>

#include "support/EndpointTest.h"

class AnEndpointWithAFlood : public EndpointTest {
protected:
    using Pending = std::vector<BusClient::PendingAnswer>;

    Pending Ask(BusClient& client, int count, const std::string& body) {
        Pending answers;
        for (int number = 0; number < count; ++number) {
            answers.push_back(client.Start("Message", body));
        }
        return answers;
    }

    // Each call of the flood takes as long as the bus needs to catch up.
    void MakeTheFloodExpensive() {
        m_endpoint->m_answer = [this](const std::string& request) {
            if (request == "flood") m_bus.WaitUntilIdle();
            return request;
        };
    }

    std::ptrdiff_t CallsBefore(const std::string& body) const {
        const Strings& events = m_endpoint->m_events;
        return std::find(events.begin(), events.end(), "message " + body) - events.begin();
    }

    std::unique_ptr<BusClient> m_flood = NewClient();
    std::unique_ptr<BusClient> m_partner = NewClient();
};

ON_EVERY_BUS(AnEndpointWithAFlood);

TEST_P(AnEndpointWithAFlood, ExecutesACallAfterTwoOfTheOthersAtMost) {
    MakeTheFloodExpensive();
    Ask(*m_flood, 100, "flood");
    m_bus.WaitUntilIdle();
    const auto answer = m_partner->Start("Message", "partner");
    m_bus.WaitUntilIdle();

    EXPECT_EQ("partner", m_partner->Wait(answer).body);

    EXPECT_LE(CallsBefore("partner"), 2);
}

TEST_P(AnEndpointWithAFlood, ExecutesACallAfterTwoOfTheOthersAtMostAlsoWhenNobodyWaitsForThose) {
    MakeTheFloodExpensive();
    for (int number = 0; number < 500; ++number) m_flood->SendWithoutReply("Message", "flood");
    m_bus.WaitUntilIdle();
    const auto answer = m_partner->Start("Message", "partner");
    m_bus.WaitUntilIdle();

    EXPECT_EQ("partner", m_partner->Wait(answer).body);

    EXPECT_LE(CallsBefore("partner"), 2);
}

TEST_P(AnEndpointWithAFlood, ExecutesSixtyFourCallsOfASenderAndRefusesTheOthers) {
    MakeTheFloodExpensive();
    const Pending answers = Ask(*m_flood, 100, "flood");
    m_bus.WaitUntilIdle();

    std::size_t refused = 0;
    for (const BusClient::PendingAnswer& answer : answers) {
        m_flood->Wait(answer);
        if (answer->error == kLimitsExceeded) ++refused;
    }

    // More than 64 when the bus had not passed all of them on before the first one's turn.
    EXPECT_GE(m_endpoint->m_events.size(), 64u);
    EXPECT_GE(refused, 1u);
    EXPECT_EQ(100u, m_endpoint->m_events.size() + refused);
}

TEST_P(AnEndpointWithAFlood, TakesTheCallsOfTwoSendersInTurn) {
    Ask(*m_flood, 3, "one");
    m_bus.WaitUntilIdle();
    const Pending answers = Ask(*m_partner, 3, "other");
    m_bus.WaitUntilIdle();

    m_partner->Wait(answers.back());

    EXPECT_EQ((Strings{"message one", "message other", "message one", "message other",
                       "message one", "message other"}),
              m_endpoint->m_events);
}

TEST_P(AnEndpointWithAFlood, ForgetsTheCallsThatWaitWhenTheBusGoesAway) {
    m_endpoint->m_answer = [this](const std::string& request) {
        m_bus.Kill();
        return request;
    };
    Ask(*m_flood, 20, "flood");
    m_bus.WaitUntilIdle();

    EXPECT_TRUE(RunUntil([this] { return !m_flood->IsOnBus(); }));
    RunWhatIsReady();
    m_bus.Start();
    m_endpoint->m_answer = nullptr;

    EXPECT_TRUE(NewClient()->WaitForOwner(kApplistName));
    EXPECT_EQ("still there", NewClient()->Message("still there").body);
    EXPECT_EQ((Strings{"message flood", "message still there"}), m_endpoint->m_events);
}
