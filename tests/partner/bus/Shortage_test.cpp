// SPDX-License-Identifier: MIT

// A partner that has no descriptor left for a direct channel, or no memory: it goes on over the
// bus, says so once, and keeps nothing.

#include <sys/resource.h>
#include <unistd.h>

#include "partner/bus/BareRemote.h"
#include "partner/bus/HostileService.h"
#include "partner/bus/PartnerBusTest.h"
#include "support/ProcessState.h"
#include "support/RecordingAllocator.h"

namespace {

const char kNoChannel[] = "no direct channel";

// This process can open no more than so many descriptors.
class FewDescriptors {
public:
    explicit FewDescriptors(std::size_t count) {
        getrlimit(RLIMIT_NOFILE, &m_before);
        const rlimit now = {256, m_before.rlim_max};
        setrlimit(RLIMIT_NOFILE, &now);
        for (int fd = dup(STDIN_FILENO); fd >= 0; fd = dup(STDIN_FILENO)) m_taken.push_back(fd);
        for (; count > 0; --count) Release();
    }
    ~FewDescriptors() {
        while (!m_taken.empty()) Release();
        setrlimit(RLIMIT_NOFILE, &m_before);
    }
    FewDescriptors(const FewDescriptors&) = delete;
    FewDescriptors& operator=(const FewDescriptors&) = delete;

private:
    void Release() {
        close(m_taken.back());
        m_taken.pop_back();
    }

    rlimit m_before = {};
    std::vector<int> m_taken;
};

}  // namespace

class APartnerInShortage : public PartnerBusTest {
protected:
    // A sanitizer needs descriptors of its own the first time that it looks at a type.
    void UseEverythingOnce() {
        BareRemote remote;
        ASSERT_TRUE(RunUntil([] { return NewsLogged("direct channel") > 0; }));
        ExpectThatItCalls(remote);
        ForgetLog();
    }

    // It may be about to leave the bus, and to come back.
    bool CallsInTheEnd(BareRemote& remote) {
        return RunUntil([&] {
            Strings& outcomes = remote.m_outcomes;
            if (!outcomes.empty() && outcomes.back().empty()) return true;
            if (remote.m_isReady && outcomes.size() == m_asked) {
                ++m_asked;
                remote.Ask();
            }
            return false;
        });
    }

    void ExpectThatItCalls(BareRemote& remote) {
        EXPECT_TRUE(RunUntil([&] { return remote.m_isReady; }));
        remote.Ask();
        EXPECT_TRUE(RunUntil([&] { return !remote.m_outcomes.empty(); }));
        EXPECT_EQ(Strings{""}, remote.m_outcomes);
    }

    // The next partner is given a channel by `service`, and by then `few` leaves it `count`
    // descriptors.
    void GiveAChannelAndLeave(std::size_t count, HostileService& service,
                              std::optional<FewDescriptors>& few) {
        service.m_answerChannel = [](sd_bus_message* call) {
            return sd_bus_reply_method_errorf(call, SD_BUS_ERROR_FAILED, "no");
        };
        UseEverythingOnce();
        service.m_answerChannel = [&few, &service, count](sd_bus_message* call) {
            const int result = service.GiveChannel(call);
            service.Flush();
            few.emplace(count);
            return result;
        };
    }

    std::size_t m_asked = 0;  // by CallsInTheEnd
};

ON_BOTH_BUSES(APartnerInShortage);

// One comes in with the answer, and one is kept.
TEST_P(APartnerInShortage, AsksForNoChannelThatItCouldNotTake) {
    StartService();
    UseEverythingOnce();
    for (const std::size_t count : {std::size_t{0}, std::size_t{1}}) {
        ForgetLog();
        const ProcessState before = ProcessState::Now();
        {
            BareRemote remote;
            const FewDescriptors few(count);
            ExpectThatItCalls(remote);
            EXPECT_EQ(1u, NewsLogged("no direct channel to the service, so it is called over the "
                                     "bus: Too many open files"));
            EXPECT_EQ("", WholeLog());
        }
        EXPECT_EQ(before, ProcessState::Now());
    }
}

TEST_P(APartnerInShortage, TakesAChannelWithTheLastTwo) {
    StartService();
    UseEverythingOnce();
    BareRemote remote;
    const FewDescriptors few(2);

    EXPECT_TRUE(RunUntil([] { return NewsLogged("over a direct channel") == 1; }));
    ExpectThatItCalls(remote);
}

TEST_P(APartnerInShortage, UsesTheBusWhenTheyEndBeforeTheChannelComes) {
    HostileService service(m_bus->Address());
    std::optional<FewDescriptors> few;
    GiveAChannelAndLeave(1, service, few);
    BareRemote remote;

    ExpectThatItCalls(remote);
    EXPECT_EQ(1u, NewsLogged(kNoChannel));
    EXPECT_EQ("", WholeLog());
    few.reset();
    EXPECT_TRUE(RunUntil([&] { return sd_bus_is_open(service.Channel()) <= 0; })) << "kept it";
}

// Then the bus library gives the connection to the bus up.
TEST_P(APartnerInShortage, ComesBackWhenThereAreSomeAgain) {
    HostileService service(m_bus->Address());
    std::optional<FewDescriptors> few;
    GiveAChannelAndLeave(0, service, few);
    BareRemote remote;
    ASSERT_TRUE(RunUntil([&] { return few.has_value(); }));
    service.m_answerChannel = [&](sd_bus_message* call) { return service.GiveChannel(call); };
    RunWhatIsReady();
    few.reset();

    ExpectThatItCalls(remote);
}

TEST_P(APartnerInShortage, GoesOnWhateverItHadNoMemoryFor) {
    StartService();
    for (std::size_t nth = 1; nth < 60; ++nth) {
        SCOPED_TRACE(nth);
        ForgetLog();
        BareRemote remote;
        m_asked = 0;
        {
            const recording::FailingAllocation outOfMemory(nth);
            RunUntil([&] { return outOfMemory.HasFailed() || NewsLogged("channel") > 0; });
        }
        EXPECT_TRUE(CallsInTheEnd(remote));
    }
}
