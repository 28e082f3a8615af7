// SPDX-License-Identifier: MIT

#include "platform/HeldCalls.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "support/Megabyte.h"

namespace {

using Call = std::unique_ptr<int>;
using Held = applist::HeldCalls<Call>;
using Outcome = Held::Outcome;

class AQueueOfHeldCalls : public ::testing::Test {
protected:
    Outcome Push(const std::string& sender, std::size_t bytes = 0) {
        return m_held.Push(sender, bytes, std::make_unique<int>(++m_last));
    }

    void PushMany(int count, const std::string& sender) {
        for (int number = 0; number < count; ++number) {
            ASSERT_EQ(Outcome::Held, Push(sender)) << number << " of " << sender;
        }
    }

    std::vector<int> PopAll() {
        std::vector<int> numbers;
        m_held.Pardon();
        while (!m_held.Empty()) numbers.push_back(**m_held.Pop());
        return numbers;
    }

    Held m_held{kMegabyte, 3};
    int m_last = 0;
};

}  // namespace

TEST_F(AQueueOfHeldCalls, KeepsTheOrderOfOneSender) {
    EXPECT_TRUE(m_held.Empty());
    PushMany(5, "one");

    EXPECT_EQ((std::vector<int>{1, 2, 3, 4, 5}), PopAll());
}

TEST_F(AQueueOfHeldCalls, GivesTheSendersTurns) {
    for (const char* sender : {"one", "one", "one", "other", "third", "other"}) Push(sender);

    EXPECT_EQ((std::vector<int>{1, 4, 5, 2, 6, 3}), PopAll());
}

TEST_F(AQueueOfHeldCalls, LetsNobodyHaveTwoTurnsByComingAgain) {
    PushMany(2, "one");
    Push("other");
    EXPECT_EQ(1, **m_held.Pop());

    PushMany(2, "one");

    EXPECT_EQ((std::vector<int>{3, 2, 4, 5}), PopAll());
}

TEST_F(AQueueOfHeldCalls, PutsAFlooderOffUntilItIsPardoned) {
    PushMany(64, "flood");
    Push("flood");
    Push("other");

    EXPECT_EQ(66, **m_held.Pop());
    EXPECT_EQ(std::nullopt, m_held.Pop());
    m_held.Pardon();
    EXPECT_EQ(1, **m_held.Pop());
}

TEST_F(AQueueOfHeldCalls, ForgetsThatASenderFloodedOnceNothingOfItWaits) {
    PushMany(64, "flood");
    Push("flood");
    PopAll();

    Push("flood");

    EXPECT_EQ(66, **m_held.Pop());
}

TEST_F(AQueueOfHeldCalls, HoldsEightLargeOnesOfAllSenders) {
    Held held(kMegabyte, 100);
    const auto push = [&held](int sender, std::size_t bytes) {
        return held.Push(std::to_string(sender), bytes, std::make_unique<int>(0));
    };
    for (int sender = 0; sender < 8; ++sender) {
        EXPECT_EQ(Outcome::Held, push(sender, kMegabyte + 1));
    }

    EXPECT_EQ(Outcome::TooManySenders, push(8, kMegabyte + 1));
    EXPECT_EQ(Outcome::Held, push(9, kMegabyte));
    held.Pop();
    EXPECT_EQ(Outcome::Held, push(8, kMegabyte + 1));
}

TEST_F(AQueueOfHeldCalls, HoldsSixtyFourOfASenderAndNoMore) {
    PushMany(64, "one");

    EXPECT_EQ(Outcome::SenderIsFull, Push("one"));
    EXPECT_EQ(64u, PopAll().size());
}

TEST_F(AQueueOfHeldCalls, HoldsAsManyOfEachWhoeverFloods) {
    PushMany(64, "flood");
    EXPECT_EQ(Outcome::SenderIsFull, Push("flood"));

    PushMany(64, "one");
    PushMany(64, "other");

    EXPECT_EQ(3u * 64, PopAll().size());
}

TEST_F(AQueueOfHeldCalls, HoldsAMegabyteOfASenderAndNoByteMore) {
    EXPECT_EQ(Outcome::Held, Push("one", kMegabyte - 1));
    EXPECT_EQ(Outcome::SenderIsFull, Push("one", 2));
    EXPECT_EQ(Outcome::Held, Push("one", 1));
    EXPECT_EQ(Outcome::SenderIsFull, Push("one", 1));

    EXPECT_EQ(Outcome::Held, Push("one", 0));
    EXPECT_EQ(Outcome::Held, Push("other", kMegabyte));
}

TEST_F(AQueueOfHeldCalls, HoldsOneOfAnySizeWhenNothingElseOfItsSenderWaits) {
    EXPECT_EQ(Outcome::Held, Push("one", SIZE_MAX));

    EXPECT_EQ(Outcome::SenderIsFull, Push("one", 0));
    EXPECT_EQ(Outcome::SenderIsFull, Push("one", SIZE_MAX));
    EXPECT_EQ(Outcome::Held, Push("other", kMegabyte));
}

TEST_F(AQueueOfHeldCalls, HoldsALargeOneBehindThoseWithoutABody) {
    PushMany(3, "one");

    EXPECT_EQ(Outcome::Held, Push("one", kMegabyte + 1));
    EXPECT_EQ(Outcome::SenderIsFull, Push("one", 1));
}

TEST_F(AQueueOfHeldCalls, CountsALargeOneBehindOthersToo) {
    Held held(kMegabyte, 100);
    const auto push = [&held](int sender, std::size_t bytes) {
        return held.Push(std::to_string(sender), bytes, std::make_unique<int>(0));
    };
    for (int sender = 0; sender < 8; ++sender) {
        push(sender, 0);
        EXPECT_EQ(Outcome::Held, push(sender, kMegabyte + 1));
    }

    EXPECT_EQ(Outcome::TooManySenders, push(8, kMegabyte + 1));
}

TEST_F(AQueueOfHeldCalls, HoldsCallsOfThreeSendersAndNotOfAFourth) {
    Push("one");
    Push("other");
    Push("third");

    EXPECT_EQ(Outcome::TooManySenders, Push("fourth"));
    EXPECT_EQ(Outcome::Held, Push("third"));
}

TEST_F(AQueueOfHeldCalls, HasRoomAgainOnceACallWasTakenOut) {
    PushMany(64, "one");
    m_held.Pop();
    EXPECT_EQ(Outcome::Held, Push("one"));
    PopAll();

    Push("one", kMegabyte);
    Push("other");
    Push("third");
    m_held.Pop();
    EXPECT_EQ(Outcome::Held, Push("fourth", kMegabyte)) << "nothing of the first waits any longer";
    EXPECT_EQ(Outcome::TooManySenders, Push("one"));
}

TEST_F(AQueueOfHeldCalls, HasAllItsRoomAgainOnceItIsCleared) {
    PushMany(64, "one");
    Push("other", SIZE_MAX);
    Push("third");

    m_held.Clear();

    EXPECT_TRUE(m_held.Empty());
    PushMany(64, "one");
    EXPECT_EQ(Outcome::Held, Push("fourth", kMegabyte));
}

TEST_F(AQueueOfHeldCalls, LeavesARefusedCallToItsOwner) {
    PushMany(64, "one");
    Call call = std::make_unique<int>(65);

    m_held.Push("one", 0, std::move(call));

    ASSERT_NE(nullptr, call);
    EXPECT_EQ(65, *call);
}
