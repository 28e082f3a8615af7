// SPDX-License-Identifier: MIT

// A service is killed after it has answered over its channel, and before anybody has read that: the
// answer counts, and nothing is known of what was not answered.

#include "partner/bus/BareRemote.h"
#include "partner/bus/PartnerBusTest.h"

class AKilledService : public PartnerBusTest {
protected:
    AKilledService() {
        StartService();
        m_service->Ask("add maps");
        m_remote = std::make_unique<BareRemote>();
        EXPECT_TRUE(RunUntil([] { return NewsLogged("over a direct channel") == 1; }));
        EXPECT_TRUE(RunUntil([this] { return m_remote->m_isReady; }));
        LeaveOneAnswerBehind();
    }

    // It has executed and answered the first of three calls when it is killed.
    void LeaveOneAnswerBehind() {
        const std::string reads = m_service->Ask("reads");
        m_remote->Ask();
        const auto end = std::chrono::steady_clock::now() + kTestDeadline;
        while (m_service->Ask("reads") == reads) ASSERT_LT(std::chrono::steady_clock::now(), end);
        m_service->Stop();
        m_remote->Ask();
        m_remote->Ask();
        m_service->Kill();
    }

    const Strings m_firstAlone{"Name of maps\tmaps\n", "OutcomeUnknown", "OutcomeUnknown"};
    std::unique_ptr<BareRemote> m_remote;
};

ON_BOTH_BUSES(AKilledService);

TEST_P(AKilledService, IsHeardToItsLastAnswer) {
    EXPECT_TRUE(RunUntil([this] { return m_remote->m_outcomes.size() == 3; }));
    EXPECT_EQ(m_firstAlone, m_remote->m_outcomes);
    EXPECT_TRUE(RunUntil([this] { return !m_remote->m_isReady; }));
}

// The bus may be looked at first then, which says that nobody is there any more.
TEST_P(AKilledService, IsHeardToItsLastAnswerByWhoOnlyWaits) {
    m_bus->WaitUntilIdle();
    std::vector<char> request = BareRemote::Question();

    EXPECT_THROW(m_remote->SendMessage(request), applist::RemoteError);

    EXPECT_EQ(m_firstAlone, m_remote->m_outcomes);
}
