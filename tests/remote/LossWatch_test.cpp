// SPDX-License-Identifier: MIT

#include "remote/LossWatch.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "remote/RemoteLimits.h"

using applist::LossWatch;
using applist::remote_limits::kCompareAfterBurst;
using applist::remote_limits::kCompareAtRest;
using applist::remote_limits::kCompareTimeout;
using std::chrono::milliseconds;
using std::chrono::seconds;

namespace {

constexpr bool kToEveryone = true;
constexpr bool kToUsAlone = false;
constexpr bool kMayLose = false;
constexpr bool kReliable = true;

class ALossWatch : public ::testing::Test {
protected:
    // A service that is followed, after `count` notifications.
    void Follow(std::uint64_t count = 0) {
        EXPECT_TRUE(m_watch.Start(m_now, kMayLose));
        EXPECT_FALSE(m_watch.Joined(m_now));
        EXPECT_TRUE(m_watch.Counted(count, m_now));
    }

    void Notify(int count = 1) {
        for (; count > 0; --count) m_watch.Notified(kToEveryone, m_now);
    }

    // Lets time pass until the count is asked for; returns how long that took.
    LossWatch::Time AskedAfter() {
        const LossWatch::Time start = m_now;
        while (m_watch.Due() != LossWatch::Time::max()) {
            m_now = std::max(m_now, m_watch.Due());
            if (m_watch.TimePassed(m_now)) return m_now - start;
        }
        return LossWatch::Time::max();
    }

    LossWatch::Time m_now = seconds(1000);
    LossWatch m_watch;
};

}  // namespace

// ---- Becoming usable ----------------------------------------------------------------------------

TEST_F(ALossWatch, WaitsForNothingWithoutAService) {
    EXPECT_EQ(LossWatch::Time::max(), m_watch.Due());
    EXPECT_FALSE(m_watch.Doubt(m_now));
    EXPECT_FALSE(m_watch.Counted(1, m_now));
    EXPECT_FALSE(m_watch.IsFollowing());
}

TEST_F(ALossWatch, IsUsableWithTheFirstCount) {
    EXPECT_TRUE(m_watch.Start(m_now, kMayLose));
    EXPECT_FALSE(m_watch.IsFollowing());

    EXPECT_TRUE(m_watch.Counted(7, m_now));

    EXPECT_TRUE(m_watch.IsFollowing());
}

TEST_F(ALossWatch, TakesTheFirstCountForAllThatCameBefore) {
    EXPECT_TRUE(m_watch.Start(m_now, kMayLose));
    Notify(3);
    EXPECT_TRUE(m_watch.Counted(7, m_now));
    AskedAfter();

    EXPECT_FALSE(m_watch.Counted(7, m_now));
}

TEST_F(ALossWatch, IsUsableWithoutACountWhenTheServiceHasAnswered) {
    EXPECT_TRUE(m_watch.Start(m_now, kMayLose));
    EXPECT_FALSE(m_watch.Counted(std::nullopt, m_now)) << "perhaps nobody may call it";

    EXPECT_TRUE(m_watch.Joined(m_now)) << "the question was refused, so it is asked once more";
    EXPECT_TRUE(m_watch.Counted(std::nullopt, m_now));

    EXPECT_TRUE(m_watch.IsFollowing());
}

TEST_F(ALossWatch, AsksAServiceThatDoesNotAnswerNowAndThen) {
    EXPECT_TRUE(m_watch.Start(m_now, kMayLose));
    EXPECT_FALSE(m_watch.Counted(std::nullopt, m_now));

    EXPECT_EQ(kCompareAtRest, AskedAfter());
}

// ---- Losses -------------------------------------------------------------------------------------

TEST_F(ALossWatch, FindsNothingLostWhenAllCame) {
    Follow(10);
    Notify(5);
    AskedAfter();

    EXPECT_FALSE(m_watch.Counted(15, m_now));
}

TEST_F(ALossWatch, FindsOneThatWasLost) {
    Follow(10);
    Notify(4);
    AskedAfter();

    EXPECT_TRUE(m_watch.Counted(15, m_now));
    AskedAfter();
    EXPECT_FALSE(m_watch.Counted(15, m_now)) << "once is enough";
}

TEST_F(ALossWatch, FindsALossWhenNothingCame) {
    Follow(10);

    EXPECT_EQ(kCompareAtRest, AskedAfter());

    EXPECT_TRUE(m_watch.Counted(11, m_now));
}

TEST_F(ALossWatch, DoesNotCountWhatWasForThisPartnerAlone) {
    Follow();
    m_watch.Notified(kToUsAlone, m_now);
    AskedAfter();

    EXPECT_FALSE(m_watch.Counted(0, m_now));
}

TEST_F(ALossWatch, FindsACountThatWentBackwards) {
    Follow(10);
    AskedAfter();

    EXPECT_TRUE(m_watch.Counted(9, m_now));
}

TEST_F(ALossWatch, FindsALossAlsoAfterACountThatWasNotToBeHad) {
    Follow(10);
    Notify(2);
    AskedAfter();
    EXPECT_FALSE(m_watch.Counted(std::nullopt, m_now));
    AskedAfter();

    EXPECT_TRUE(m_watch.Counted(13, m_now));
}

// ---- When to ask --------------------------------------------------------------------------------

TEST_F(ALossWatch, AsksSoonAfterABurst) {
    Follow();
    Notify();

    EXPECT_EQ(kCompareAfterBurst, AskedAfter());
}

TEST_F(ALossWatch, AsksWhenABurstIsOver) {
    Follow();
    const LossWatch::Time start = m_now;
    for (; m_now < start + seconds(1); m_now += milliseconds(10)) {
        EXPECT_FALSE(m_watch.TimePassed(m_now));
        Notify();
    }
    const LossWatch::Time last = m_now - milliseconds(10);

    AskedAfter();

    EXPECT_EQ(last + kCompareAfterBurst, m_now);
}

TEST_F(ALossWatch, AsksNowAndThenInABurstThatDoesNotEnd) {
    Follow();
    const LossWatch::Time start = m_now;
    while (!m_watch.TimePassed(m_now)) {
        Notify();
        m_now += milliseconds(10);
    }

    EXPECT_EQ(start + kCompareAtRest, m_now);
}

TEST_F(ALossWatch, AsksOnceAtATime) {
    Follow();
    AskedAfter();

    EXPECT_FALSE(m_watch.Doubt(m_now));
    EXPECT_FALSE(m_watch.TimePassed(m_now + kCompareTimeout - milliseconds(1)));
    EXPECT_TRUE(m_watch.TimePassed(m_now + kCompareTimeout));
}

TEST_F(ALossWatch, AsksAgainWhenTheServiceRunsAndTheAnswerWasDropped) {
    Follow();
    AskedAfter();
    Notify();

    EXPECT_EQ(kCompareAtRest, AskedAfter());
}

TEST_F(ALossWatch, AsksAgainWhenItCouldNotAsk) {
    EXPECT_TRUE(m_watch.Start(m_now, kMayLose));
    m_watch.NotAsked(m_now);

    EXPECT_EQ(kCompareAtRest, AskedAfter());
}

// ---- Doubt --------------------------------------------------------------------------------------

TEST_F(ALossWatch, AsksAtOnceAfterASilenceAndIsUsableAgain) {
    Follow(10);

    EXPECT_TRUE(m_watch.Doubt(m_now));
    EXPECT_TRUE(m_watch.IsFollowing());

    EXPECT_TRUE(m_watch.Counted(10, m_now));
    AskedAfter();
    EXPECT_FALSE(m_watch.Counted(10, m_now));
}

TEST_F(ALossWatch, GoesOnTellingOnAReliableWayAndComparesOnce) {
    Follow(10);
    Notify(2);

    EXPECT_TRUE(m_watch.Move(m_now, kReliable));
    EXPECT_TRUE(m_watch.IsFollowing());
    Notify(1);
    EXPECT_FALSE(m_watch.Counted(13, m_now)) << "nothing was lost";

    EXPECT_EQ(LossWatch::Time::max(), m_watch.Due());
}

TEST_F(ALossWatch, IsUsableAgainOnAReliableWayWhenSomethingWasLostBefore) {
    Follow(10);
    Notify(2);

    EXPECT_TRUE(m_watch.Move(m_now, kReliable));

    EXPECT_TRUE(m_watch.Counted(13, m_now));
}

TEST_F(ALossWatch, IsUsableAgainInAnyCaseOnAWayThatMayLose) {
    EXPECT_TRUE(m_watch.Start(m_now, kReliable));
    EXPECT_TRUE(m_watch.Counted(10, m_now));

    EXPECT_TRUE(m_watch.Move(m_now, kMayLose));
    EXPECT_TRUE(m_watch.IsFollowing());
    EXPECT_TRUE(m_watch.Counted(10, m_now));

    EXPECT_EQ(kCompareAtRest, AskedAfter()) << "as ever on such a way";
}

TEST_F(ALossWatch, IsNotUsableOnAnotherWayEither) {
    EXPECT_TRUE(m_watch.Start(m_now, kMayLose));
    EXPECT_FALSE(m_watch.Joined(m_now));

    EXPECT_TRUE(m_watch.Move(m_now, kReliable));
    EXPECT_FALSE(m_watch.IsFollowing());
    EXPECT_TRUE(m_watch.Counted(std::nullopt, m_now)) << "it has joined all the same";
}

// ---- A reliable way -----------------------------------------------------------------------------

class AReliableLossWatch : public ALossWatch {
protected:
    AReliableLossWatch() {
        EXPECT_TRUE(m_watch.Start(m_now, kReliable));
        EXPECT_FALSE(m_watch.Joined(m_now));
    }
};

TEST_F(AReliableLossWatch, NeverAsksAgainOnceItIsUsable) {
    EXPECT_TRUE(m_watch.Counted(7, m_now));

    EXPECT_EQ(LossWatch::Time::max(), m_watch.Due());
    Notify(3);
    EXPECT_EQ(LossWatch::Time::max(), m_watch.Due()) << "no loss after a burst either";
}

TEST_F(AReliableLossWatch, HasPatienceWithTheFirstCountWhateverComesBefore) {
    Notify(3);

    EXPECT_EQ(kCompareTimeout, AskedAfter());
}

TEST_F(AReliableLossWatch, AsksOnceInDoubtAndIsUsableAgain) {
    EXPECT_TRUE(m_watch.Counted(7, m_now));
    Notify(3);

    EXPECT_TRUE(m_watch.Doubt(m_now));
    EXPECT_FALSE(m_watch.Doubt(m_now)) << "the answer to the first question will do";
    EXPECT_TRUE(m_watch.Counted(7, m_now));

    EXPECT_EQ(LossWatch::Time::max(), m_watch.Due());
}

TEST_F(AReliableLossWatch, AsksAgainWhenItCouldNotAsk) {
    EXPECT_TRUE(m_watch.Counted(7, m_now));
    EXPECT_TRUE(m_watch.Doubt(m_now));
    m_watch.NotAsked(m_now);

    EXPECT_EQ(kCompareAtRest, AskedAfter());
}

TEST_F(ALossWatch, ForgetsEverythingWithTheService) {
    Follow(10);
    Notify(5);
    m_watch.Stop();

    EXPECT_EQ(LossWatch::Time::max(), m_watch.Due());
    EXPECT_FALSE(m_watch.IsFollowing());
    m_watch.Notified(kToEveryone, m_now);
    EXPECT_EQ(LossWatch::Time::max(), m_watch.Due());
    Follow(0);
    AskedAfter();
    EXPECT_FALSE(m_watch.Counted(0, m_now));
}

// Each new question makes the answer to the one before it worthless.
TEST_F(ALossWatch, HasMorePatienceWithASlowServiceEachTime) {
    Follow();
    AskedAfter();
    LossWatch::Time patience = kCompareAtRest;
    for (int count = 0; count < 10; ++count) {
        Notify();
        EXPECT_EQ(patience, AskedAfter());
        patience = std::min(2 * patience, kCompareTimeout);
    }

    EXPECT_FALSE(m_watch.Counted(10, m_now));
    AskedAfter();
    Notify();
    EXPECT_EQ(kCompareAtRest, AskedAfter()) << "once it has answered";
}
