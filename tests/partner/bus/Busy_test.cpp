// SPDX-License-Identifier: MIT

// A partner that is busy with other things, or is kept busy; and a bus that is away for long.

#include <chrono>
#include <cstring>
#include <functional>

#include "bus/BusSelection.h"
#include "partner/bus/HostileService.h"
#include "partner/bus/PartnerBusTest.h"
#include "support/SilentBus.h"

using applist::BusLocation;
using applist::BusRetry;
using applist::SelectBus;
using applist::SetBusTimeout;
namespace transport_limits = applist::transport_limits;

using Clock = std::chrono::steady_clock;

namespace {

// Computes, and does not look at the bus.
void KeepBusyFor(milliseconds time) {
    const Clock::time_point end = Clock::now() + time;
    while (Clock::now() < end) continue;
}

}  // namespace

// ---- The bus answers, and nobody looks ----------------------------------------------------------

class ABusyPartner : public PartnerBusTest {
protected:
    ABusyPartner() { SetBusTimeout(kBusTimeout); }
    ~ABusyPartner() override { SetBusTimeout(transport_limits::kStartTimeout); }

    static constexpr milliseconds kBusTimeout{1000};
};

ON_BOTH_BUSES(ABusyPartner);

TEST_P(ABusyPartner, ShowsAServiceAlsoWhenItReadsTheBussAnswersLate) {
    StartService();
    const std::string content = m_service->Ask("add maps");
    StartPartner();

    KeepBusyFor(kBusTimeout + milliseconds(200));

    EXPECT_TRUE(Shows(content, kBack));
    EXPECT_TRUE(m_model->IsServiceThere());
}

// ---- A flood ------------------------------------------------------------------------------------

class AFloodedPartner : public PartnerBusTest {
protected:
    // Each of these clicks takes the partner a while.
    void Flood(int clicks, milliseconds each) {
        m_witness->m_onTold = [each](const std::string&) { KeepBusyFor(each); };
        for (; clicks > 0; --clicks) m_hostile.Notify(std::string("\3\0\0\0", 4));
        m_hostile.Flush();
    }

    HostileService m_hostile{m_bus->Address()};
};

ON_BOTH_BUSES(AFloodedPartner);

TEST_P(AFloodedPartner, WaitsNoLongerThanItsTimeout) {
    StartPartner();
    ASSERT_TRUE(RunUntil([&] { return m_model->IsServiceThere(); }));
    m_model->SetTimeout(milliseconds(200));
    Flood(1000, milliseconds(2));
    const auto start = Clock::now();

    EXPECT_EQ("TimedOut", CauseOfSynchronize());

    EXPECT_LT(Clock::now() - start, milliseconds(1000));
    EXPECT_LT(m_witness->Take().size(), 1000u) << "that was no flood";
    m_witness->m_onTold = nullptr;
}

// ---- A bus that is away -------------------------------------------------------------------------

class ABusThatIsAwayForLong : public PartnerBusTest {
protected:
    // How long until the partner looks for the bus, and finds somebody who leaves again.
    std::optional<milliseconds> TimeUntilItLooks() const {
        const auto start = Clock::now();
        const SilentBus silent(m_bus->Address().substr(std::strlen("unix:path=")));
        if (!RunUntil([&] { return silent.HasVisitor(); })) return std::nullopt;
        return std::chrono::duration_cast<milliseconds>(Clock::now() - start);
    }
};

INSTANTIATE_TEST_SUITE_P(OnOneBus, ABusThatIsAwayForLong,
                         ::testing::Values(BusVariety{BusProgram::Daemon, BusLimits::BuiltIn}),
                         [](const auto& test) { return NameOf(test.param); });

TEST_P(ABusThatIsAwayForLong, IsLookedForEverySecondAndItsServiceShownSoonAfterItIsBack) {
    StartService();
    StartPartner();
    ASSERT_TRUE(RunUntil([&] { return m_model->IsServiceThere(); }));
    m_bus->Kill();
    m_service.reset();

    for (int time = 0; time < 6; ++time) {
        const std::optional<milliseconds> waited = TimeUntilItLooks();
        ASSERT_TRUE(waited);
        EXPECT_LT(*waited, milliseconds(1500)) << "time " << time;
    }
    m_bus->Start();
    StartService();

    EXPECT_TRUE(Shows(m_service->Ask("add maps"), kBack));
}

// ---- A partner that only ever waits -------------------------------------------------------------

// It has no loop in which a timer could go off.
class APartnerThatRunsNoLoop : public PartnerBusTest {
protected:
    // A bus that comes back and says nothing is given up soon.
    APartnerThatRunsNoLoop() {
        BusLocation location;
        location.description = "the bus";
        location.address = m_bus->Address();
        location.retry = BusRetry{milliseconds(10), milliseconds(10), milliseconds(200)};
        SelectBus(location);
        StartService();
        StartPartner();
        m_model->SetTimeout(milliseconds(100));
    }

    void LoseBus() {
        m_bus->Kill();
        m_service.reset();
        EXPECT_NE("", CauseOfSynchronize());
    }

    void ExpectToComeBack() {
        m_bus->Start();
        StartService();
        const std::string content = m_service->Ask("add maps");
        EXPECT_TRUE(TriesUntil([this] { return CauseOfSynchronize().empty(); }));
        EXPECT_EQ(content, DigestOf(*m_model));
    }

    // Asks again and again; false when `done` has not said so by the deadline.
    static bool TriesUntil(const std::function<bool()>& done) {
        const Clock::time_point start = Clock::now();
        while (!done()) {
            if (Clock::now() - start > kTestDeadline) return false;
        }
        return true;
    }
};

ON_BOTH_BUSES(APartnerThatRunsNoLoop);

TEST_P(APartnerThatRunsNoLoop, ComesBackWithItsBus) {
    LoseBus();

    ExpectToComeBack();
}

TEST_P(APartnerThatRunsNoLoop, GivesUpABusThatComesBackAndSaysNothing) {
    LoseBus();
    const SilentBus silent(m_bus->Address().substr(std::strlen("unix:path=")));
    ASSERT_TRUE(TriesUntil([&] {
        CauseOfSynchronize();
        return silent.HasVisitor();
    }));

    ExpectToComeBack();
}
