// SPDX-License-Identifier: MIT

#include "apps/applistd/QuietTime.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "support/TestLoop.h"

using applist::daemon::QuietTime;

TEST(AQuietTime, CallsOnceForManyChanges) {
    int calls = 0;
    QuietTime quiet([&calls] { ++calls; });
    for (int change = 0; change < 3; ++change) quiet.Restart();

    ASSERT_TRUE(RunUntil([&calls] { return calls > 0; }));

    QuietTime later([&calls] { calls += 10; });
    later.Restart();
    ASSERT_TRUE(RunUntil([&calls] { return calls >= 10; }));
    EXPECT_EQ(11, calls);
}

TEST(AQuietTime, CallsAgainAfterTheNextChange) {
    int calls = 0;
    QuietTime quiet([&calls] { ++calls; });
    for (int expected = 1; expected <= 2; ++expected) {
        quiet.Restart();
        EXPECT_TRUE(RunUntil([&] { return calls == expected; }));
    }
}

TEST(AQuietTime, ForgetsWhatChangedBeforeItWasStopped) {
    bool isCalled = false;
    QuietTime stopped([&isCalled] { isCalled = true; });
    stopped.Restart();
    stopped.Stop();

    bool isQuiet = false;
    QuietTime later([&isQuiet] { isQuiet = true; });
    later.Restart();
    ASSERT_TRUE(RunUntil([&isQuiet] { return isQuiet; }));
    EXPECT_FALSE(isCalled);
}

TEST(AQuietTime, GoesOnAfterACallThatThrows) {
    int calls = 0;
    QuietTime quiet([&calls] {
        ++calls;
        throw std::runtime_error("no");
    });
    for (int expected = 1; expected <= 2; ++expected) {
        quiet.Restart();
        EXPECT_TRUE(RunUntil([&] { return calls == expected; }));
    }
}
