// SPDX-License-Identifier: MIT

// A service closes a channel again and again, at any place among the writes of a partner: what
// becomes of each write is told, and is true.

#include <algorithm>
#include <random>

#include "partner/bus/BareRemote.h"
#include "partner/bus/PartnerBusTest.h"
#include "support/ChannelCut.h"
#include "support/RecordingEndpoint.h"

namespace {

constexpr unsigned kSeed = 20240521;
constexpr int kRounds = 1000;
// Now and then more than may be under way.
constexpr std::size_t kFewWrites = 16;
constexpr std::size_t kManyWrites = 90;
constexpr std::size_t kWritesOverTheBus = 3;

}  // namespace

class AChannelThatIsCut : public PartnerBusTest {
protected:
    using Numbers = std::vector<std::size_t>;

    AChannelThatIsCut() {
        m_service.m_answer = [this](const std::string& request) {
            m_executed.push_back(std::stoul(request));
            m_service.Tell("executed");
            return std::string();
        };
    }

    void Write(std::size_t count) {
        for (; count > 0; --count) {
            // Of any length, so that some lie in the socket when it is closed, and some do not fit.
            std::string text = std::to_string(m_written++) + " ";
            text.resize(text.size() + m_random() % 3000, '.');
            m_partner->Ask(std::vector<char>(text.begin(), text.end()));
        }
    }
    bool IsAllAnswered() {
        return RunUntil([this] { return m_partner->m_outcomes.size() == m_written; });
    }

    // A service gives each partner one channel, so there is a new partner each time.
    void StartPartnerOverChannel() {
        ForgetLog();
        m_executed.clear();
        m_service.m_events.clear();
        m_written = 0;
        m_partner = std::make_unique<BareRemote>();
        ASSERT_TRUE(RunUntil([] { return NewsLogged("over a direct channel") == 1; }));
    }

    void CutAmongWrites() {
        const std::size_t most = m_random() % 8 == 0 ? kManyWrites : kFewWrites;
        const std::size_t count = 1 + m_random() % most;
        // For each there are a notification and a reply.
        const ChannelCut cut(1 + m_random() % (2 * count));
        Write(count / 2);
        RunUntil([&] { return m_partner->m_outcomes.size() >= count / 4; });
        Write(count - count / 2);
        ASSERT_TRUE(RunUntil([] { return NewsLogged("no direct channel") == 1; }));
        Write(kWritesOverTheBus);
        ASSERT_TRUE(IsAllAnswered());
    }

    // All that the partner was told is true.
    void ExpectTheTruth() {
        EXPECT_TRUE(std::is_sorted(m_executed.begin(), m_executed.end())) << "out of order";
        for (std::size_t number = 0; number < m_written; ++number) {
            const auto times = std::count(m_executed.begin(), m_executed.end(), number);
            const std::string& outcome = m_partner->m_outcomes[number];
            if (outcome.empty() || number >= m_written - kWritesOverTheBus) {
                EXPECT_EQ("", outcome);
                EXPECT_EQ(1, times) << number;
            } else {
                EXPECT_EQ("OutcomeUnknown", outcome) << number;
                EXPECT_GE(1, times) << number;
                ++(times == 1 ? m_executedUnknown : m_lostUnknown);
            }
        }
    }

    RecordingEndpoint m_service;
    std::unique_ptr<BareRemote> m_partner;
    std::mt19937 m_random{kSeed};
    Numbers m_executed;
    std::size_t m_written = 0;
    // Of the writes whose outcome is unknown.
    std::size_t m_executedUnknown = 0;
    std::size_t m_lostUnknown = 0;
};

ON_BOTH_BUSES(AChannelThatIsCut);

TEST_P(AChannelThatIsCut, LeavesNoWriteUnaccountedForInAThousandRounds) {
    for (int round = 0; round < kRounds && !HasFailure(); ++round) {
        SCOPED_TRACE("seed " + std::to_string(kSeed) + ", round " + std::to_string(round));
        ASSERT_NO_FATAL_FAILURE(StartPartnerOverChannel());
        ASSERT_NO_FATAL_FAILURE(CutAmongWrites());
        ExpectTheTruth();
    }
    EXPECT_LT(0u, m_executedUnknown);
    EXPECT_LT(0u, m_lostUnknown);
}
