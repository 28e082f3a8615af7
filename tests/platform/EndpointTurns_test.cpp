// SPDX-License-Identifier: MIT

// Partners that send much, and others who have to wait for them.

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>

#include "bus/TransportLimits.h"
#include "support/CapturedLog.h"
#include "support/EndpointTest.h"

class AnEndpointWithAFlood : public EndpointTest {
protected:
    using Pending = std::vector<BusClient::PendingAnswer>;

    Pending Ask(BusClient& client, int count, const std::string& body) {
        Pending answers;
        for (int number = 0; number < count; ++number) {
            answers.push_back(client.Start("Message", body));
        }
        return answers;
    }

    // Each call of the flood takes as long as the bus needs to catch up, and some time.
    void MakeTheFloodExpensive() {
        m_endpoint->m_answer = [this](const std::string& request) {
            using Clock = std::chrono::steady_clock;
            const Clock::time_point end = Clock::now() + applist::transport_limits::kTurnTime;
            if (request == "flood") m_bus.WaitUntilIdle();
            while (request == "flood" && Clock::now() < end) continue;
            return request;
        };
    }

    // The one that came when nothing else was there, and one if nothing more seemed to come.
    static constexpr std::ptrdiff_t kTwo = 2;

    std::ptrdiff_t CallsBefore(const std::string& body) const {
        const Strings& events = m_endpoint->m_events;
        return std::find(events.begin(), events.end(), "message " + body) - events.begin();
    }

    std::unique_ptr<BusClient> m_flood = NewClient();
    std::unique_ptr<BusClient> m_partner = NewClient();
};

ON_EVERY_BUS_AND_OVER_CHANNELS(AnEndpointWithAFlood);

// A call over a channel waits for its partner alone, which has to read: see EndpointStall_test.cpp.
class AnEndpointWithAFloodOnTheBus : public AnEndpointWithAFlood {};

ON_EVERY_BUS(AnEndpointWithAFloodOnTheBus);

TEST_P(AnEndpointWithAFlood, ExecutesACallAfterTwoOfTheOthersAtMost) {
    MakeTheFloodExpensive();
    Ask(*m_flood, 100, "flood");
    m_bus.WaitUntilIdle();
    const auto answer = m_partner->Start("Message", "partner");
    m_bus.WaitUntilIdle();

    EXPECT_EQ("partner", m_partner->Wait(answer).body);

    EXPECT_LE(CallsBefore("partner"), kTwo);
}

TEST_P(AnEndpointWithAFlood, ExecutesACallAfterTwoOfTheOthersAtMostAlsoWhenNobodyWaitsForThose) {
    MakeTheFloodExpensive();
    for (int number = 0; number < 500; ++number) m_flood->SendWithoutReply("Message", "flood");
    m_bus.WaitUntilIdle();
    const auto answer = m_partner->Start("Message", "partner");
    m_bus.WaitUntilIdle();

    EXPECT_EQ("partner", m_partner->Wait(answer).body);

    EXPECT_LE(CallsBefore("partner"), kTwo);
}

TEST_P(AnEndpointWithAFloodOnTheBus, ExecutesSixtyFourCallsOfASenderAndRefusesTheOthers) {
    MakeTheFloodExpensive();
    const Pending answers = Ask(*m_flood, 100, "flood");
    m_bus.WaitUntilIdle();

    std::size_t refused = 0;
    for (const BusClient::PendingAnswer& answer : answers) {
        m_flood->Wait(answer);
        if (answer->error == kLimitsExceeded) ++refused;
    }

    // More than 64 when the bus had not passed all of them on before the first one's turn.
    EXPECT_GE(m_endpoint->m_events.size(), 64u);
    EXPECT_GE(refused, 1u);
    EXPECT_EQ(100u, m_endpoint->m_events.size() + refused);
}

TEST_P(AnEndpointWithAFlood, TakesTheCallsOfTwoSendersInTurn) {
    Ask(*m_flood, 3, "one");
    m_bus.WaitUntilIdle();
    const Pending answers = Ask(*m_partner, 3, "other");
    m_bus.WaitUntilIdle();

    m_partner->Wait(answers.back());

    EXPECT_EQ((Strings{"message one", "message other", "message one", "message other",
                       "message one", "message other"}),
              m_endpoint->m_events);
}

// As partners begin. When both have come in before either was read, the first one waits.
TEST_P(AnEndpointWithAFlood, TakesALargeCallRightBehindConnect) {
    const std::string large((std::size_t{1} << 20) + 8, 'x');
    m_partner->Start("Connect");
    const auto answer = m_partner->Start("Message", large);
    m_bus.WaitUntilIdle();

    EXPECT_EQ(large.size(), m_partner->Wait(answer).body.size()) << answer->text;
}

// A child of the application has copies of its sockets between fork and exec: what is closed here
// is open there, and the loop must not be told of it.
TEST_P(AnEndpointWithAFlood, MayLoseTheBusWhileAChildHasCopiesOfItsSockets) {
    m_endpoint->m_answer = [this](const std::string& request) {
        using Clock = std::chrono::steady_clock;
        const Clock::time_point end = Clock::now() + applist::transport_limits::kTurnTime;
        m_bus.Stop();
        while (Clock::now() < end) continue;
        return request;
    };
    Ask(*m_flood, 3, "flood");
    m_bus.WaitUntilIdle();
    RunUntil([this] { return !m_endpoint->m_events.empty(); });
    RunWhatIsReady();
    m_endpoint->Clog();
    std::vector<TestFd> copies;
    for (int fd = 3; fd < 100; ++fd) {
        struct stat kind;
        if (fstat(fd, &kind) == 0 && S_ISSOCK(kind.st_mode)) copies.emplace_back(dup(fd));
    }

    m_bus.Kill();

    EXPECT_TRUE(RunUntil([] { return ErrorsLogged("lost") == 1; })) << WholeLog();
    RunWhatIsReady();
}

// Any call may bring descriptors, and one that waits keeps them open.
TEST_P(AnEndpointWithAFloodOnTheBus, LeavesDescriptorsForTheBus) {
    MakeTheFloodExpensive();
    const TestFd body = MemfdOf("flood");
    struct rlimit before;
    getrlimit(RLIMIT_NOFILE, &before);
    const TestFd lowest(dup(0));
    struct rlimit few = before;
    few.rlim_cur = 2 * static_cast<rlim_t>(lowest.Get()) + 40;  // this process has the clients, too

    setrlimit(RLIMIT_NOFILE, &few);
    Pending answers;
    for (int number = 0; number < 60; ++number) answers.push_back(m_flood->StartFd(body.Get()));
    m_bus.WaitUntilIdle();
    for (const BusClient::PendingAnswer& answer : answers) m_flood->Wait(answer);
    setrlimit(RLIMIT_NOFILE, &before);

    EXPECT_EQ(0u, ErrorsLogged("lost")) << WholeLog();
    EXPECT_EQ("still there", m_partner->Message("still there").body);
    const auto refused = std::count_if(answers.begin(), answers.end(), [](const auto& answer) {
        return answer->text == "not executed: too many descriptors are open; call again later";
    });
    EXPECT_GE(refused, 1);
}

TEST_P(AnEndpointWithAFloodOnTheBus, ForgetsTheCallsThatWaitWhenTheBusGoesAway) {
    m_endpoint->m_answer = [this](const std::string& request) {
        m_bus.Kill();
        return request;
    };
    Ask(*m_flood, 20, "flood");
    m_bus.WaitUntilIdle();

    EXPECT_TRUE(RunUntil([this] { return !m_flood->IsOnBus(); }));
    RunWhatIsReady();
    m_bus.Start();
    m_endpoint->m_answer = nullptr;

    EXPECT_TRUE(NewClient()->WaitForOwner(kApplistName));
    EXPECT_EQ("still there", NewClient()->Message("still there").body);
    EXPECT_EQ((Strings{"message flood", "message still there"}), m_endpoint->m_events);
}
