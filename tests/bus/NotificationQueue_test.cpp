// SPDX-License-Identifier: MIT

#include "bus/NotificationQueue.h"

#include <gtest/gtest.h>

using applist::Notification;
using applist::NotificationQueue;

namespace {

constexpr std::size_t kMost = 1024;
constexpr std::size_t kMostBytes = std::size_t{256} << 10;

Notification To(const std::string& partner, const std::string& body) {
    return Notification{partner, std::vector<char>(body.begin(), body.end())};
}

Notification ForAll(const std::string& body) {
    return To("", body);
}

// Empties the queue; returns "partner:body" of each that waited, in order.
std::vector<std::string> Drain(NotificationQueue& queue) {
    std::vector<std::string> waited;
    for (; !queue.Empty(); queue.Pop()) {
        const Notification& front = queue.Front();
        waited.push_back(front.partner + ":" + std::string(front.body.begin(), front.body.end()));
    }
    return waited;
}

using Strings = std::vector<std::string>;

}  // namespace

class ANotificationQueue : public ::testing::Test {
protected:
    // Pushes 0 to `count` - 1; returns whether nothing was dropped.
    bool PushNumbers(std::size_t count) {
        bool complete = true;
        for (std::size_t number = 0; number < count; ++number) {
            complete = m_queue.Push(ForAll(std::to_string(number))) && complete;
        }
        return complete;
    }

    NotificationQueue m_queue;
};

TEST_F(ANotificationQueue, IsEmptyAtFirst) {
    EXPECT_TRUE(m_queue.Empty());
}

TEST_F(ANotificationQueue, KeepsTheirOrder) {
    EXPECT_TRUE(m_queue.Push(ForAll("a")));
    EXPECT_TRUE(m_queue.Push(To(":1.5", "b")));
    EXPECT_TRUE(m_queue.Push(ForAll("c")));

    EXPECT_EQ((Strings{":a", ":1.5:b", ":c"}), Drain(m_queue));
}

TEST_F(ANotificationQueue, MergesWhatEqualsTheNewest) {
    for (int time = 0; time < 3; ++time) EXPECT_TRUE(m_queue.Push(ForAll("a")));

    EXPECT_EQ(Strings{":a"}, Drain(m_queue));
}

TEST_F(ANotificationQueue, DoesNotMergeWhatEqualsAnOlderOne) {
    for (const char* body : {"a", "b", "a"}) m_queue.Push(ForAll(body));

    EXPECT_EQ((Strings{":a", ":b", ":a"}), Drain(m_queue));
}

TEST_F(ANotificationQueue, DoesNotMergeWhatGoesToAnother) {
    m_queue.Push(To(":1.5", "a"));
    m_queue.Push(To(":1.6", "a"));
    m_queue.Push(ForAll("a"));

    EXPECT_EQ((Strings{":1.5:a", ":1.6:a", ":a"}), Drain(m_queue));
}

TEST_F(ANotificationQueue, DoesNotMergeWhatHasTheSameBeginning) {
    m_queue.Push(ForAll("a"));
    m_queue.Push(ForAll("ab"));
    m_queue.Push(ForAll(""));

    EXPECT_EQ((Strings{":a", ":ab", ":"}), Drain(m_queue));
}

TEST_F(ANotificationQueue, MergesAgainAfterTheNewestWasTaken) {
    m_queue.Push(ForAll("a"));
    m_queue.Pop();

    m_queue.Push(ForAll("a"));

    EXPECT_EQ(Strings{":a"}, Drain(m_queue));
}

TEST_F(ANotificationQueue, KeepsOneLessThanItMay) {
    EXPECT_TRUE(PushNumbers(kMost - 1));

    EXPECT_EQ(kMost - 1, Drain(m_queue).size());
}

TEST_F(ANotificationQueue, KeepsAsManyAsItMay) {
    EXPECT_TRUE(PushNumbers(kMost));

    EXPECT_EQ(kMost, Drain(m_queue).size());
}

TEST_F(ANotificationQueue, DropsTheOldestForOneMoreAndSaysSo) {
    EXPECT_FALSE(PushNumbers(kMost + 1));

    const Strings waited = Drain(m_queue);
    EXPECT_EQ(kMost, waited.size());
    EXPECT_EQ(":1", waited.front());
    EXPECT_EQ(":1024", waited.back());
}

TEST_F(ANotificationQueue, DropsNothingForWhatItMerges) {
    PushNumbers(kMost);

    EXPECT_TRUE(m_queue.Push(ForAll("1023")));

    EXPECT_EQ(":0", Drain(m_queue).front());
}

TEST_F(ANotificationQueue, KeepsOneOfAsManyBytesAsItMay) {
    EXPECT_TRUE(m_queue.Push(ForAll(std::string(kMostBytes, 'x'))));

    EXPECT_EQ(1u, Drain(m_queue).size());
}

TEST_F(ANotificationQueue, DropsOneThatIsTooLongByItselfAndNoOther) {
    m_queue.Push(ForAll("a"));

    EXPECT_FALSE(m_queue.Push(ForAll(std::string(kMostBytes + 1, 'x'))));

    EXPECT_EQ(Strings{":a"}, Drain(m_queue));
}

TEST_F(ANotificationQueue, KeepsAsManyBytesAsItMayInSeveral) {
    EXPECT_TRUE(m_queue.Push(ForAll("first")));
    EXPECT_TRUE(m_queue.Push(ForAll(std::string(kMostBytes - 5, 'x'))));

    EXPECT_EQ(":first", Drain(m_queue).front());
}

TEST_F(ANotificationQueue, DropsAsManyOfTheOldestAsOneByteMoreNeeds) {
    for (const char* body : {"aa", "b", "c"}) m_queue.Push(ForAll(body));

    EXPECT_FALSE(m_queue.Push(ForAll(std::string(kMostBytes - 1, 'x'))));

    const Strings waited = Drain(m_queue);
    ASSERT_EQ(2u, waited.size());
    EXPECT_EQ(":c", waited.front());
}

TEST_F(ANotificationQueue, CountsAPartnersNameAsBytes) {
    m_queue.Push(ForAll("first"));

    EXPECT_FALSE(m_queue.Push(To(":1.5", std::string(kMostBytes - 8, 'x'))));
    EXPECT_EQ(1u, Drain(m_queue).size());
}

TEST_F(ANotificationQueue, HasRoomAgainForWhatWasTaken) {
    const std::string half(kMostBytes / 2, 'x');
    for (int time = 0; time < 10; ++time) {
        EXPECT_TRUE(m_queue.Push(ForAll(half + std::to_string(time))));
        m_queue.Pop();
    }
    EXPECT_TRUE(m_queue.Push(ForAll(std::string(kMostBytes, 'y'))));
}

TEST_F(ANotificationQueue, CountsWhatWaitsForEveryoneAlsoWhatItMerged) {
    for (const char* body : {"a", "a", "b"}) m_queue.Push(ForAll(body));
    m_queue.Push(To(":1.5", "b"));
    m_queue.Push(To(":1.5", "b"));
    EXPECT_EQ(3u, m_queue.ToEveryone());

    m_queue.Pop();

    EXPECT_EQ(1u, m_queue.ToEveryone());
}

TEST_F(ANotificationQueue, DoesNotCountWhatItDropped) {
    PushNumbers(kMost + 1);

    EXPECT_EQ(kMost, m_queue.ToEveryone());
}

TEST_F(ANotificationQueue, IsAsNewWhenItWasCleared) {
    m_queue.Push(ForAll(std::string(kMostBytes, 'x')));

    m_queue.Clear();

    EXPECT_TRUE(m_queue.Empty());
    EXPECT_TRUE(m_queue.Push(ForAll(std::string(kMostBytes, 'y'))));
}
