// SPDX-License-Identifier: MIT

#include "apps/applistctl/Host.h"

#include <gtest/gtest.h>

#include <vector>

using applist::BusLocation;
using applist::BusRetry;
using applist::ctl::BusOf;
using applist::ctl::RemoteBus;
using std::chrono::seconds;

// Each attempt is an ssh: one a second would look like an attack to the other machine.
TEST(TheBusOfAnotherMachine, IsLookedForAfter1And2And4AndAtMost60Seconds) {
    const BusRetry retry = BusOf("me@device", RemoteBus::System, seconds(60)).retry.value();

    std::vector<std::chrono::microseconds> delays = {retry.first};
    while (delays.size() < 9) delays.push_back(retry.After(delays.back()));

    EXPECT_EQ((std::vector<std::chrono::microseconds>{seconds(1), seconds(2), seconds(4),
                                                      seconds(8), seconds(16), seconds(32),
                                                      seconds(60), seconds(60), seconds(60)}),
              delays);
}

TEST(TheBusOfAnotherMachine, LeavesAPersonTheWholeTimeToLogInAgain) {
    const BusLocation bus = BusOf("me@device", RemoteBus::System, seconds(45));

    EXPECT_EQ(seconds(45), bus.timeout);
    EXPECT_EQ(seconds(45), bus.retry.value().attempt);
}

TEST(TheBusOfAnotherMachine, IsNamedToAPersonByTheNameOfTheMachine) {
    const BusLocation bus = BusOf("me@device", RemoteBus::Session, seconds(45));

    EXPECT_EQ("the bus of me@device", bus.description);
    EXPECT_EQ("try ssh me@device systemd-stdio-bridge --user, or allow more time with --timeout",
              bus.advice);
}
