// SPDX-License-Identifier: MIT

// A partner and a real service, in another process, over a direct channel.

#include "partner/bus/PartnerBusTest.h"

class AServiceWithChannels : public PartnerBusTest {
protected:
    AServiceWithChannels() {
        StartService();
        StartPartner();
    }

    static bool IsTaken() { return NewsLogged("over a direct channel") == 1; }

    // Whether its list comes to have `part` in it. It answers between two calls, so it has had as
    // many turns as it was asked.
    bool ComesToShow(const std::string& part) {
        for (int turn = 0; turn < 10000; ++turn) {
            if (m_service->Ask("content").find(part) != std::string::npos) return true;
        }
        return false;
    }

    void Write(int number) {
        RemoteAppListItem item("Name", "id" + std::to_string(number));
        m_model->AddItemAtEnd(&item);
    }
};

ON_BOTH_BUSES(AServiceWithChannels);

TEST_P(AServiceWithChannels, NeedsNoBusForCallsOnceItsChannelIsTaken) {
    ASSERT_TRUE(RunUntil(IsTaken));
    m_bus->Stop();
    Write(1);

    EXPECT_EQ("", CauseOfSynchronize());

    m_bus->Continue();
    EXPECT_EQ("Name/id1 ()", DigestOf(*m_model));
}

TEST_P(AServiceWithChannels, IsFollowedWithoutABus) {
    ASSERT_TRUE(RunUntil(IsTaken));
    m_model->Synchronize();
    m_bus->Stop();

    EXPECT_TRUE(Shows(m_service->Ask("add maps"), kBack));

    m_bus->Continue();
}

// Nobody runs the loop: what takes the channel is a wait for something else.
TEST_P(AServiceWithChannels, GivesItsChannelAlsoToWhoOnlyWaits) {
    const auto end = std::chrono::steady_clock::now() + kTestDeadline;
    while (!IsTaken() && std::chrono::steady_clock::now() < end) m_model->Synchronize();
    m_bus->Stop();
    Write(1);

    EXPECT_EQ("", CauseOfSynchronize());

    m_bus->Continue();
    EXPECT_EQ("Name/id1 ()", DigestOf(*m_model));
}

TEST_P(AServiceWithChannels, GetsWhatStillWaitsOfAPartnerThatIsDestroyed) {
    ASSERT_TRUE(RunUntil(IsTaken));
    m_bus->Stop();
    for (int number = 0; number < 300; ++number) Write(number);

    EndPartner();

    EXPECT_TRUE(ComesToShow("300 items"));
    m_bus->Continue();
}

// Longer than the partner waits for it.
TEST_P(AServiceWithChannels, GetsThemAlsoWhenItStood) {
    ASSERT_TRUE(RunUntil(IsTaken));
    m_service->Stop();
    for (int number = 0; number < 60; ++number) Write(number);

    EndPartner();
    m_service->Continue();

    EXPECT_TRUE(ComesToShow("Name/id59"));
}

TEST_P(AServiceWithChannels, IsUsableAgainWhenItWasStopped) {
    ASSERT_TRUE(RunUntil(IsTaken));
    m_model->Synchronize();
    m_service->Stop();
    m_model->SetTimeout(milliseconds(100));
    Write(1);
    EXPECT_EQ("TimedOut", CauseOfSynchronize());

    m_service->Continue();

    EXPECT_TRUE(Shows("Name/id1 ()", kBack));
}

TEST_P(AServiceWithChannels, LeavesTheOutcomeUnknownWhenItIsKilled) {
    ASSERT_TRUE(RunUntil(IsTaken));
    m_model->Synchronize();
    m_service->Stop();
    Write(1);
    RunWhatIsReady();

    m_service->Kill();

    EXPECT_EQ("OutcomeUnknown", CauseOfSynchronize());
    EXPECT_TRUE(RunUntil([this] { return !m_model->IsServiceThere(); }));
}

// At the end of it everything that was executed has been answered.
TEST_P(AServiceWithChannels, AnswersWhatItHasExecutedBeforeItEnds) {
    ASSERT_TRUE(RunUntil(IsTaken));
    m_model->Synchronize();
    Write(1);
    RunWhatIsReady();
    ASSERT_EQ("Name/id1 ()", m_service->Ask("content"));

    EXPECT_EQ(0, m_service->End());

    EXPECT_TRUE(RunUntil([this] { return !m_model->IsServiceThere(); }));
    EXPECT_EQ("", WholeLog());
}
