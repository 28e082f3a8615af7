// SPDX-License-Identifier: MIT

// Partners that read none of their replies, and others who have to be answered all the same. What
// nobody reads waits in the bus, which takes nothing more from an endpoint for which it keeps too
// much; or in a channel, which is nobody else's.

#include <chrono>

#include "support/CapturedLog.h"
#include "support/EndpointTest.h"
#include "support/Megabyte.h"

class AnEndpointWhoseRepliesAreNotRead : public EndpointTest {
protected:
    using Clock = std::chrono::steady_clock;

    AnEndpointWhoseRepliesAreNotRead() {
        m_endpoint->m_answer = [](const std::string& request) {
            return request == "much" ? std::string(15 * kMegabyte, 'x') : request;
        };
    }

    // Few at a time: a bus refuses whoever has too many calls under way.
    void AskForDescriptors(BusClient& client, int count) {
        const TestFd body = MemfdOf("a descriptor");
        for (int number = 0; number < count; ++number) {
            client.StartFd(body.Get());
            if (number % 20 == 19) Pass();
        }
    }

    // How many of `count` calls in a row are answered with an error, which says why.
    int RefusedOf(BusClient& client, int count) {
        std::vector<BusClient::PendingAnswer> answers;
        for (int number = 0; number < count; ++number) {
            answers.push_back(client.StartFd(MemfdOf("a descriptor").Get()));
        }
        int refused = 0;
        for (const BusClient::PendingAnswer& answer : answers) {
            const std::string error = client.Wait(answer).error;
            if (error.empty()) continue;
            EXPECT_EQ(kLimitsExceeded, error);
            ++refused;
        }
        return refused;
    }

    void AskForMuch(BusClient& client, int count) {
        for (int number = 0; number < count; ++number) {
            client.Start("Message", "much");
            Pass();
        }
    }

    void Pass() {
        m_bus.WaitUntilIdle();
        RunWhatIsReady();
    }

    // How long it takes until `client` gets an answer, if it calls again whenever the bus says that
    // there is none.
    Clock::duration TimeToAnAnswer(BusClient& client) {
        const Clock::time_point start = Clock::now();
        while (client.Message("hello").body != "hello") {
            if (Clock::now() - start > kTestDeadline) break;
            client.WaitForOwner(kApplistName);
        }
        return Clock::now() - start;
    }

    // A partner leaves 400 descriptors unread, and the others are answered again. Waited for, as a
    // busy bus may answer somebody between those descriptors.
    void LeaveDescriptorsUnread() {
        m_deaf->StopReading();
        AskForDescriptors(*m_deaf, 400);
        EXPECT_TRUE(RunUntil([this] { return WasStuck() || !GetsStuck(); })) << WholeLog();
        TimeToAnAnswer(*m_other);
        EXPECT_EQ(GetsStuck(), WasStuck()) << WholeLog();
    }

    // Only dbus-daemon with built-in limits is ever stuck.
    static bool GetsStuck() { return NameOf(GetParam()) == "DbusDaemonWithBuiltInLimits"; }
    bool WasStuck() const { return ErrorsLogged("takes nothing more") > 0; }

    // The most that one partner may keep the others waiting, whatever it does.
    static constexpr std::chrono::seconds kMostWait{10};

    std::unique_ptr<BusClient> m_deaf = NewClient();
    std::unique_ptr<BusClient> m_other = NewClient();
};

ON_EVERY_BUS_AND_OVER_CHANNELS(AnEndpointWhoseRepliesAreNotRead);

// So few that the sockets take them: nothing waits here.
TEST_P(AnEndpointWhoseRepliesAreNotRead, AnswersTheOthersWhenThoseHoldDescriptors) {
    m_deaf->StopReading();
    AskForDescriptors(*m_deaf, 400);

    EXPECT_LT(TimeToAnAnswer(*m_other), kMostWait) << WholeLog();
}

TEST_P(AnEndpointWhoseRepliesAreNotRead, AnswersTheOthersWhenThoseHoldManyDescriptors) {
    m_deaf->StopReading();
    AskForDescriptors(*m_deaf, 1000);

    EXPECT_LT(TimeToAnAnswer(*m_other), kMostWait) << WholeLog();
}

TEST_P(AnEndpointWhoseRepliesAreNotRead, AnswersTheOthersWhenThoseAreLarge) {
    m_deaf->StopReading();
    AskForMuch(*m_deaf, 20);

    EXPECT_LT(TimeToAnAnswer(*m_other), kMostWait) << WholeLog();
}

TEST_P(AnEndpointWhoseRepliesAreNotRead, RationsLargeRepliesForAWhileWhenTheBusWasStuck) {
    LeaveDescriptorsUnread();

    // Eight are admitted, and the ninth is not, unless the bus has confirmed what was sent before:
    // on a machine that is busy it may. Then the next one tries, who has a ration of its own.
    std::unique_ptr<BusClient> greedy;
    EXPECT_TRUE(RunUntil([&] {
        greedy = NewClient();
        const int refused = RefusedOf(*greedy, 9);
        EXPECT_LE(refused, 1);
        return refused == (GetsStuck() ? 1 : 0);
    })) << WholeLog();
    EXPECT_TRUE(RunUntil([&] { return greedy->MessageFd(MemfdOf("more").Get()).error.empty(); }));
}

TEST_P(AnEndpointWhoseRepliesAreNotRead, SaysOnceThatTheBusWasStuckAndWhoGotMost) {
    LeaveDescriptorsUnread();

    const std::string who = "(" + m_deaf->Name() + " got most of the last ones)";
    EXPECT_EQ(GetsStuck() ? 1u : 0u, ErrorsLogged(who)) << WholeLog();
    EXPECT_EQ(0u, ErrorsLogged("cannot own")) << WholeLog();
}

// The bus reads nothing from the one that was, so it does not see by itself that it has gone.
TEST_P(AnEndpointWhoseRepliesAreNotRead, LeavesItsNameToTheNextOne) {
    m_deaf->StopReading();
    AskForDescriptors(*m_deaf, 400);

    EndEndpoint();
    ASSERT_NO_THROW(NewEndpoint());
    m_other->LeaveChannel();

    EXPECT_EQ("hello", m_other->Message("hello").body);
}
