// SPDX-License-Identifier: MIT

// How much the outbox lets the bus library keep: on a bus that stands, with the smallest send
// buffer there is.

#include "bus/Outbox.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <memory>
#include <vector>

#include "bus/BusLink.h"
#include "support/BusClient.h"
#include "support/BusFaults.h"
#include "support/CapturedLog.h"
#include "support/EveryBus.h"
#include "support/TestLoop.h"

using applist::BusLink;
using applist::Notification;
using applist::Outbox;

namespace {

constexpr std::size_t kQuarterMegabyte = std::size_t{256} << 10;

class AnOutboxOnABusThatStands : public ::testing::TestWithParam<BusVariety> {
protected:
    AnOutboxOnABusThatStands() {
        ForgetLog();
        applist::SelectBusAddress(m_bus.Address());
        m_link = std::make_unique<BusLink>(
            [this] { EXPECT_GE(m_outbox.Attach(m_link->Bus(), m_link->Loop()), 0); }, [] {});
        m_link->Open();
        const int smallest = 1;
        setsockopt(sd_bus_get_fd(m_link->Bus()), SOL_SOCKET, SO_SNDBUF, &smallest,
                   sizeof(smallest));
        m_bus.Stop();
    }

    ~AnOutboxOnABusThatStands() override {
        m_outbox.Detach();
        applist::SelectBus(applist::BusKind::Automatic);
    }

    void Notify(std::size_t size) {
        m_outbox.Notify(Notification{"", std::vector<char>(size, ++m_fill)});
    }

    // Sends until the socket takes no more, and one byte of the last notification is left at least.
    void ClogSocket() {
        while (InLibrary() == 0) Notify(1000);
    }

    // The same, while the loop can watch nothing more.
    void ClogSocketUnwatched() {
        const FailingBusCall fault(BusCall::WatchDescriptor, -ENOSPC);
        ClogSocket();
    }

    std::uint64_t InLibrary() {
        std::uint64_t count = 0;
        EXPECT_GE(sd_bus_get_n_queued_write(m_link->Bus(), &count), 0);
        return count;
    }

    PrivateBus m_bus{GetParam()};
    std::unique_ptr<BusLink> m_link;
    int m_drained = 0;
    std::vector<int> m_failures;
    applist::BusProbe m_probe{[] {}, [] {}};
    Outbox m_outbox{"/org/tessel/Local/Applist", m_probe, [this] { ++m_drained; },
                    [this](int error) { m_failures.push_back(error); }};
    char m_fill = 0;
};

ON_EVERY_BUS(AnOutboxOnABusThatStands);

}  // namespace

TEST_P(AnOutboxOnABusThatStands, IsStalledAsSoonAsTheSocketTakesNoMore) {
    EXPECT_FALSE(m_outbox.Stalled());

    ClogSocket();

    EXPECT_TRUE(m_outbox.Stalled());
}

TEST_P(AnOutboxOnABusThatStands, HandsTheLibrarySixtyFourMessagesAndNoMore) {
    ClogSocket();

    for (std::uint64_t count = 2; count <= 64; ++count) {
        Notify(1);
        ASSERT_EQ(count, InLibrary());
    }
    Notify(1);
    Notify(1);

    EXPECT_EQ(64u, InLibrary());
}

TEST_P(AnOutboxOnABusThatStands, HandsTheLibraryAQuarterOfAMegabyte) {
    m_outbox.Notify(Notification{"", std::vector<char>(kQuarterMegabyte - 1000, 'x')});
    ASSERT_EQ(1u, InLibrary());

    Notify(1000);

    EXPECT_EQ(2u, InLibrary());
}

TEST_P(AnOutboxOnABusThatStands, HandsTheLibraryNoByteMore) {
    m_outbox.Notify(Notification{"", std::vector<char>(kQuarterMegabyte - 1000, 'x')});
    ASSERT_EQ(1u, InLibrary());

    Notify(1001);
    Notify(1);

    EXPECT_EQ(1u, InLibrary()) << "and what came later did not pass by";
}

TEST_P(AnOutboxOnABusThatStands, SaysThatItIsDrainedOnceTheBusHasTakenEverything) {
    ClogSocket();
    m_outbox.AwaitDrain();
    for (int count = 0; count < 500; ++count) Notify(10);
    RunWhatIsReady();
    EXPECT_EQ(0, m_drained);

    m_bus.Continue();

    EXPECT_TRUE(RunUntil([this] { return m_drained == 1; }));
    EXPECT_FALSE(m_outbox.Stalled());
    EXPECT_EQ(0u, InLibrary());
}

// Asked again and again it would keep the loop busy for ever: the bus is open and writable.
TEST_P(AnOutboxOnABusThatStands, SaysOnceThatItsConnectionCannotGoOn) {
    ClogSocket();
    m_outbox.AwaitDrain();
    const FailingBusCall fault(BusCall::Process, -ENOMEM);
    m_bus.Continue();

    ASSERT_TRUE(RunUntil([this] { return !m_failures.empty(); }));
    RunWhatIsReady();

    EXPECT_EQ(std::vector<int>{-ENOMEM}, m_failures);
    EXPECT_EQ(0, m_drained);
}

TEST_P(AnOutboxOnABusThatStands, EndsAFlushThatFails) {
    ClogSocket();
    const FailingBusCall fault(BusCall::Process, -ENOMEM);
    m_bus.Continue();

    m_outbox.Flush(kTestDeadline);

    EXPECT_TRUE(m_outbox.Stalled());
}

// A partner would not know of the event, and a caller would wait for ever.
TEST_P(AnOutboxOnABusThatStands, GivesTheConnectionUpWhenSomethingCannotBeSent) {
    {
        const FailingBusCall fault(BusCall::Send, -ENOBUFS);
        Notify(10);
    }
    EXPECT_TRUE(m_failures.empty()) << "not inside the call that sends";

    ASSERT_TRUE(RunUntil([this] { return !m_failures.empty(); }));
    RunWhatIsReady();

    EXPECT_EQ(std::vector<int>{-ENOBUFS}, m_failures);
}

TEST_P(AnOutboxOnABusThatStands, KeepsTheConnectionWhenTheNameOfAPartnerIsNone) {
    m_outbox.Notify(Notification{"no name", {'x'}});
    RunWhatIsReady();

    EXPECT_TRUE(m_failures.empty());
    EXPECT_EQ(1u, ErrorsLogged("cannot notify no name")) << WholeLog();
}

// Watched no more, what waits here would wait for ever, although the bus takes it again.
TEST_P(AnOutboxOnABusThatStands, GivesTheConnectionUpWhenItsRoomCannotBeWatched) {
    ClogSocketUnwatched();

    ASSERT_TRUE(RunUntil([this] { return !m_failures.empty(); }));
    RunWhatIsReady();

    EXPECT_EQ(std::vector<int>{-ENOSPC}, m_failures);
}

TEST_P(AnOutboxOnABusThatStands, IsDetachedAlsoWhenItsRoomCannotBeWatched) {
    ClogSocketUnwatched();

    m_outbox.Detach();
    RunWhatIsReady();

    EXPECT_TRUE(m_failures.empty()) << "there is nothing left to give up";
    EXPECT_EQ(nullptr, sd_bus_get_event(m_link->Bus()));
}

// As a program's own timer may send, with a handler that does not restart calls.
TEST_P(AnOutboxOnABusThatStands, FlushesEverythingAlsoWhenASignalInterruptsIt) {
    static PrivateBus* bus = nullptr;
    bus = &m_bus;
    struct sigaction handler = {};
    handler.sa_handler = [](int) { bus->Continue(); };
    ASSERT_EQ(0, sigaction(SIGALRM, &handler, nullptr));
    ClogSocket();
    // The bus runs on only in the signal's handler, so the flush waits when the signal comes.
    const struct itimerval soon = {{0, 0}, {0, 20'000}};
    ASSERT_EQ(0, setitimer(ITIMER_REAL, &soon, nullptr));

    m_outbox.Flush(kTestDeadline);

    EXPECT_FALSE(m_outbox.Stalled());
    signal(SIGALRM, SIG_DFL);
}

TEST_P(AnOutboxOnABusThatStands, FlushesUntilItsTimeIsUp) {
    ClogSocket();
    const auto start = std::chrono::steady_clock::now();

    m_outbox.Flush(std::chrono::milliseconds(100));

    const auto taken = std::chrono::steady_clock::now() - start;
    EXPECT_GE(taken, std::chrono::milliseconds(95));
    EXPECT_LT(taken, std::chrono::milliseconds(2000));
    EXPECT_TRUE(m_outbox.Stalled());
}

TEST_P(AnOutboxOnABusThatStands, FlushesEverythingOnceTheBusRuns) {
    ClogSocket();
    for (int count = 0; count < 500; ++count) Notify(10);
    m_bus.Continue();

    m_outbox.Flush(kTestDeadline);

    EXPECT_FALSE(m_outbox.Stalled());
}

TEST_P(AnOutboxOnABusThatStands, ForgetsWhatWaitsWhenItIsDetached) {
    ClogSocket();
    for (int count = 0; count < 500; ++count) Notify(10);

    m_outbox.Detach();

    EXPECT_FALSE(m_outbox.Stalled());
    Notify(10);
    EXPECT_FALSE(m_outbox.Stalled()) << "without a bus nothing is kept";
    EXPECT_EQ(0u, ErrorsLogged("")) << WholeLog();
}
