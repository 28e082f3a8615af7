// SPDX-License-Identifier: MIT

// A connection that comes back, alone: what it does when setting it up fails.

#include "bus/BusLink.h"

#include <gtest/gtest.h>

#include <memory>

#include "bus/TransportError.h"
#include "support/BusFaults.h"
#include "support/CapturedLog.h"
#include "support/PrivateBus.h"
#include "support/TestLoop.h"

using applist::BusLink;

namespace {

class ABusLink : public ::testing::Test {
protected:
    ABusLink() {
        ForgetLog();
        applist::SelectBusAddress(m_bus.Address());
        m_link = std::make_unique<BusLink>([this] { SetUpConnection(); }, [this] { ++m_losses; });
    }

    ~ABusLink() override { applist::SelectBus(applist::BusKind::Automatic); }

    void SetUpConnection() {
        ++m_setUps;
        if (m_setUps == m_badSetUp) m_fault();
        EXPECT_GE(sd_bus_attach_event(m_link->Bus(), m_link->Loop(), 0), 0);
    }

    // Ends the bus, starts another one, and returns whether the link was set up `times` times.
    bool ComesBackAfter(int times) {
        m_bus.Kill();
        EXPECT_TRUE(RunUntil([this] { return m_losses == 1; }));
        m_bus.Start();
        return RunUntil([&] { return m_setUps == times; });
    }

    PrivateBus m_bus{{BusProgram::Daemon, BusLimits::Session}};
    int m_setUps = 0;
    int m_losses = 0;
    int m_badSetUp = 0;
    std::function<void()> m_fault;
    applist::UniqueBus m_abandoned;
    std::unique_ptr<BusLink> m_link;
};

}  // namespace

TEST_F(ABusLink, IsSetUpAgainOnTheNextBus) {
    m_link->Open();

    EXPECT_TRUE(ComesBackAfter(2));

    EXPECT_EQ(1, m_losses);
    EXPECT_EQ(1u, ErrorsLogged("lost the bus")) << WholeLog();
}

TEST_F(ABusLink, TriesAgainWhenSettingUpFails) {
    m_badSetUp = 2;
    m_fault = [] { throw applist::TransportError("no luck"); };
    m_link->Open();

    EXPECT_TRUE(ComesBackAfter(3));

    EXPECT_EQ(2, m_losses) << "the one that failed is undone, too";
    EXPECT_EQ(1u, DebugsLogged("cannot reconnect: no luck")) << WholeLog();
}

TEST_F(ABusLink, TriesAgainWhateverIsThrownWhileItIsSetUp) {
    m_badSetUp = 2;
    m_fault = [] { throw 42; };
    m_link->Open();

    EXPECT_TRUE(ComesBackAfter(3));

    EXPECT_EQ(2, m_losses);
    EXPECT_EQ(1u, DebugsLogged("cannot reconnect: unknown exception")) << WholeLog();
}

TEST_F(ABusLink, LetsWhoOpensItSeeWhatWasThrown) {
    m_badSetUp = 1;
    m_fault = [] { throw 42; };

    EXPECT_THROW(m_link->Open(), int);
}

// What makes a connection fail, such as want of memory, would also keep a timer from being made.
TEST_F(ABusLink, ComesBackAlsoWhenNothingMoreCanBeMade) {
    m_link->Open();
    const FailingBusCall fault(BusCall::MakeTimer, -ENOMEM);

    EXPECT_TRUE(ComesBackAfter(2));

    EXPECT_EQ(0u, ErrorsLogged("cannot reconnect")) << WholeLog();
}

TEST_F(ABusLink, SaysSoWhenItCouldNotComeBackLater) {
    const FailingBusCall fault(BusCall::MakeTimer, -EMFILE);

    EXPECT_THROW(BusLink([] {}, [] {}), applist::TransportError);
}

// libsystemd fails an assertion when something comes in after it had no memory for a match.
TEST_F(ABusLink, HearsNothingMoreOnAConnectionThatItsOwnerGivesUp) {
    m_link->Open();

    m_link->GiveUp();

    EXPECT_LE(sd_bus_is_open(m_link->Bus()), 0);
    EXPECT_TRUE(RunUntil([this] { return m_setUps == 2; }));
    EXPECT_EQ(1, m_losses);
}

TEST_F(ABusLink, HearsNothingMoreOnAConnectionThatCouldNotBeSetUp) {
    m_badSetUp = 2;
    m_fault = [this] {
        m_abandoned.reset(sd_bus_ref(m_link->Bus()));
        throw applist::TransportError("no luck");
    };
    m_link->Open();
    ASSERT_TRUE(ComesBackAfter(2));

    EXPECT_TRUE(RunUntil([this] { return m_losses == 2; }));

    EXPECT_LE(sd_bus_is_open(m_abandoned.get()), 0);
}

// The bus itself has nothing to complain about: only this end cannot go on.
TEST_F(ABusLink, ComesBackFromAConnectionThatItsOwnerAbandons) {
    m_link->Open();

    m_link->Abandon(-ENOMEM);

    EXPECT_EQ(1, m_losses);
    EXPECT_LE(sd_bus_is_open(m_link->Bus()), 0);
    EXPECT_TRUE(RunUntil([this] { return m_setUps == 2; }));
    EXPECT_EQ(1u, ErrorsLogged("lost the bus")) << WholeLog();
    EXPECT_EQ(1u, DebugsLogged("Cannot allocate memory")) << WholeLog();
}
