// SPDX-License-Identifier: MIT

// Whether the bus takes what is sent to it: a bus that runs, and one that stands.

#include "bus/BusProbe.h"

#include <gtest/gtest.h>

#include <memory>

#include "bus/BusLink.h"
#include "support/BusClient.h"
#include "support/CapturedLog.h"
#include "support/EveryBus.h"
#include "support/Forger.h"
#include "support/TestLoop.h"

using applist::BusLink;
using applist::BusProbe;

namespace {

class AProbe : public ::testing::TestWithParam<BusVariety> {
protected:
    AProbe() {
        ForgetLog();
        applist::SelectBusAddress(m_bus.Address());
        m_link = std::make_unique<BusLink>(
            [this] {
                EXPECT_GE(m_probe.Attach(m_link->Bus(), m_link->Loop()), 0);
                EXPECT_GE(sd_bus_attach_event(m_link->Bus(), m_link->Loop(), 0), 0);
            },
            [] {});
        m_link->Open();
        RunWhatIsReady();
    }

    ~AProbe() override {
        m_probe.Detach();
        sd_bus_detach_event(m_link->Bus());
        applist::SelectBus(applist::BusKind::Automatic);
    }

    std::string Name() const {
        const char* name = nullptr;
        sd_bus_get_unique_name(m_link->Bus(), &name);
        return name;
    }

    PrivateBus m_bus{GetParam()};
    std::unique_ptr<BusLink> m_link;
    int m_answers = 0;
    int m_timesStuck = 0;
    BusProbe m_probe{[this] { ++m_answers; }, [this] { ++m_timesStuck; }};
};

}  // namespace

ON_EVERY_BUS(AProbe);

TEST_P(AProbe, IsAnsweredOnceWhenItAsks) {
    EXPECT_TRUE(m_probe.Ask());

    EXPECT_TRUE(RunUntil([this] { return m_answers == 1; }));

    m_bus.WaitUntilIdle();
    RunWhatIsReady();
    EXPECT_EQ(1, m_answers);
}

TEST_P(AProbe, IsAnsweredOnceForTheLastOfThreeQuestions) {
    for (int number = 0; number < 3; ++number) EXPECT_TRUE(m_probe.Ask());

    EXPECT_TRUE(RunUntil([this] { return m_answers == 1; }));

    m_bus.WaitUntilIdle();
    RunWhatIsReady();
    EXPECT_EQ(1, m_answers);
}

TEST_P(AProbe, AsksByItselfAfterSomethingWasSent) {
    m_probe.Sent();

    EXPECT_TRUE(RunUntil([this] { return m_answers == 1; }));
}

TEST_P(AProbe, AsksAgainForWhatWasSentAfterTheQuestion) {
    m_probe.Ask();
    m_probe.Sent();

    EXPECT_TRUE(RunUntil([this] { return m_answers == 2; }));
}

TEST_P(AProbe, HearsTheAnswerBehindEverythingThatTheBusHadForIt) {
    BusClient other(m_bus.Address());
    int arrived = 0;
    const auto count = [](sd_bus_message* message, void* userdata, sd_bus_error*) {
        *static_cast<int*>(userdata) += sd_bus_message_is_method_call(message, "a.b", "C") > 0;
        return 0;
    };
    sd_bus_slot* slot = nullptr;
    ASSERT_GE(sd_bus_add_filter(m_link->Bus(), &slot, count, &arrived), 0);
    const applist::UniqueSlot filter(slot);
    for (int number = 0; number < 100; ++number) {
        other.StartAny(Name().c_str(), "/", "a.b", "C", [](sd_bus_message*) { return 0; });
    }
    m_bus.WaitUntilIdle();

    m_probe.Ask();

    EXPECT_TRUE(RunUntil([this] { return m_answers == 1; }));
    EXPECT_EQ(100, arrived);
}

TEST_P(AProbe, IsStuckWhenTheBusDoesNotAnswer) {
    m_bus.Stop();
    m_probe.Sent();

    EXPECT_TRUE(RunUntil([this] { return m_timesStuck == 1; }));

    EXPECT_EQ(0, m_answers);
    m_bus.Continue();
}

// A bus may pass a stranger's reply on, and the library takes it for the answer.
TEST_P(AProbe, AsksAgainWhenAStrangerAnswers) {
    Forger forger(m_bus.Address());
    m_bus.Stop();
    forger.StartReplying(Name(), 1, 64, [](sd_bus_message* reply) {
        return sd_bus_message_append(reply, "s", "not the bus's id");
    });
    m_probe.Ask();
    m_bus.Continue();

    EXPECT_TRUE(RunUntil([this] { return m_answers == 1; }));

    EXPECT_EQ(0, m_timesStuck);
}
