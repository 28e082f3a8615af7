// SPDX-License-Identifier: MIT

#include "platform/ReplyRations.h"

#include <gtest/gtest.h>

#include "support/Megabyte.h"

namespace {

using applist::ReplyRations;

class Rations : public ::testing::Test {
protected:
    bool Admits(const std::string& partner) { return m_rations.Admits(partner, m_now); }

    void Send(const std::string& partner, std::size_t bytes) {
        EXPECT_TRUE(Admits(partner));
        m_rations.Charge(partner, bytes);
    }

    ReplyRations::Clock::time_point m_now{};
    ReplyRations m_rations;
};

}  // namespace

TEST_F(Rations, AreNotNeededUntilTheyBegin) {
    for (int number = 0; number < 100; ++number) Send("one", 16 * kMegabyte);

    EXPECT_TRUE(Admits("one"));
}

TEST_F(Rations, AreSixteenMebibytesForEachPartner) {
    m_rations.Begin(m_now);

    Send("one", 16 * kMegabyte - 1);
    EXPECT_TRUE(Admits("one"));
    Send("one", 1);

    EXPECT_FALSE(Admits("one"));
    EXPECT_TRUE(Admits("other"));
}

TEST_F(Rations, AreWholeAgainOnceTheBusHasTakenEverything) {
    m_rations.Begin(m_now);
    Send("one", 16 * kMegabyte);

    m_rations.Renew();

    EXPECT_TRUE(Admits("one"));
}

TEST_F(Rations, DoNotCountWhatWasSentBefore) {
    Send("one", 16 * kMegabyte);

    m_rations.Begin(m_now);

    EXPECT_TRUE(Admits("one"));
}

TEST_F(Rations, EndAfterAMinute) {
    m_rations.Begin(m_now);
    Send("one", 16 * kMegabyte);

    m_now += std::chrono::minutes(1) - std::chrono::nanoseconds(1);
    EXPECT_FALSE(Admits("one"));
    m_now += std::chrono::nanoseconds(1);
    EXPECT_TRUE(Admits("one"));
}

TEST_F(Rations, KnowWhoGotMostSinceTheLastRenewal) {
    EXPECT_EQ("", m_rations.Most());
    Send("one", 3);
    m_rations.Renew();
    Send("one", 1);
    Send("other", 2);
    Send("third", 1);

    EXPECT_EQ("other", m_rations.Most());
}

TEST_F(Rations, CountNoMorePartnersThanABusHas) {
    m_rations.Begin(m_now);
    for (int number = 0; number < 500; ++number) Send(std::to_string(number), 1);

    Send("one too many", 100 * kMegabyte);

    EXPECT_TRUE(Admits("one too many"));
    Send("499", 16 * kMegabyte);
    EXPECT_FALSE(Admits("499"));
}
