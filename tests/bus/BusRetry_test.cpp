// SPDX-License-Identifier: MIT

// When a connection looks again for its bus, where the bus's location says so.

#include <gtest/gtest.h>

#include <chrono>
#include <optional>

#include "bus/BusLink.h"
#include "support/CapturedLog.h"
#include "support/PrivateBus.h"
#include "support/SilentBus.h"
#include "support/TestLoop.h"

using applist::BusKind;
using applist::BusLink;
using applist::BusLocation;
using applist::BusRetry;
using applist::SelectBus;
using std::chrono::milliseconds;

class ALinkThatLooksForItsBus : public ::testing::Test {
protected:
    ALinkThatLooksForItsBus() { ForgetLog(); }
    ~ALinkThatLooksForItsBus() override { SelectBus(BusKind::Automatic); }

    // Connects, by `retry`, and loses the bus.
    void Lose(const BusRetry& retry) {
        BusLocation location;
        location.description = "the bus";
        location.address = m_bus.Address();
        location.retry = retry;
        SelectBus(location);
        m_link.emplace(
            [this] {
                ++m_setUps;
                sd_bus_attach_event(m_link->Bus(), m_link->Loop(), SD_EVENT_PRIORITY_NORMAL);
            },
            [this] { ++m_losses; });
        m_link->Open();
        m_bus.Kill();
        ASSERT_TRUE(RunUntil([&] { return m_losses == 1; }));
    }

    std::string PathOfBus() const { return m_bus.Address().substr(sizeof("unix:path=") - 1); }

    PrivateBus m_bus{{BusProgram::Daemon, BusLimits::Session}};
    int m_setUps = 0;
    int m_losses = 0;
    std::optional<BusLink> m_link;
};

TEST_F(ALinkThatLooksForItsBus, GivesEachAttemptTheTimeThatTheLocationAllows) {
    Lose({milliseconds(1), milliseconds(1), milliseconds(20)});
    const SilentBus silent(PathOfBus());

    const auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(RunUntil([&] { return m_losses == 4; })) << WholeLog();

    EXPECT_GE(std::chrono::steady_clock::now() - start, 3 * milliseconds(20));
}

TEST_F(ALinkThatLooksForItsBus, LooksFirstWhenTheLocationSaysAndThenTwiceAsLate) {
    const auto start = std::chrono::steady_clock::now();
    Lose({milliseconds(300), milliseconds(1000), milliseconds(1000)});

    EXPECT_TRUE(RunUntil([] { return DebugsLogged("cannot reconnect") == 2; })) << WholeLog();

    EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(300 + 600));
}

// An ssh may ask for a password: it must not go on asking once nobody will listen.
TEST_F(ALinkThatLooksForItsBus, EndsAnAttemptThatTookTooLongBeforeItWaitsForTheNext) {
    Lose({milliseconds(1), std::chrono::hours(1), milliseconds(20)});
    const SilentBus silent(PathOfBus());

    ASSERT_TRUE(RunUntil([&] { return m_losses == 2; })) << WholeLog();

    EXPECT_LE(sd_bus_is_open(m_link->Bus()), 0);
}
