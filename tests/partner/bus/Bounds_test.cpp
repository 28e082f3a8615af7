// SPDX-License-Identifier: MIT

// What a partner keeps, waits for and says has bounds, and it goes on when it was at one.

#include "partner/bus/BareRemote.h"
#include "partner/bus/HostileService.h"
#include "partner/bus/PartnerBusTest.h"
#include "support/RecordingAllocator.h"

using applist::RemoteReply;

using Clock = std::chrono::steady_clock;

// ---- What waits ---------------------------------------------------------------------------------

class AFullQueue : public PartnerBusTest {
protected:
    // Until the loop has run, and told who the service is, all of them wait. They are of a mebibyte
    // each, as it travels, and 64 fit. A click changes nothing at the service.
    void WriteMebibytes(int count) {
        StartService();
        StartPartner();
        m_model->SetTimeout(std::chrono::seconds(30));
        RemoteAppListItem item(std::string((std::size_t{1} << 20) - 6, 'x'), "");
        for (; count > 0; --count) m_model->SetClicked(&item);
    }
};

ON_BOTH_BUSES(AFullQueue);

TEST_P(AFullQueue, LeavesRoomForTheReadingWhenItDrains) {
    WriteMebibytes(64);

    EXPECT_EQ("", CauseOfSynchronize());
}

TEST_P(AFullQueue, RefusesOneMoreAndNoneWhenItHasDrained) {
    WriteMebibytes(65);

    EXPECT_EQ("TooMuch", CauseOfSynchronize());
    EXPECT_EQ("", CauseOfSynchronize());
}

TEST_P(AFullQueue, TakesAWholeImportOfCallsAndRefusesTheNext) {
    BareRemote remote;
    for (int count = 0; count < 65536; ++count) remote.Ask();
    EXPECT_EQ(Strings{}, remote.m_outcomes);

    remote.Ask();

    EXPECT_EQ(Strings{"TooMuch"}, remote.m_outcomes);
}

// ---- What is kept of a stranger -----------------------------------------------------------------

class ABoundedRemote : public PartnerBusTest {
protected:
    ABoundedRemote() {
        EXPECT_TRUE(RunUntil([&] { return m_remote.m_isReady; }));
    }

    std::string OutcomeOfAsking() {
        m_remote.m_outcomes.clear();
        m_remote.Ask();
        EXPECT_TRUE(RunUntil([&] { return !m_remote.m_outcomes.empty(); }));
        return m_remote.m_outcomes.empty() ? "nothing" : m_remote.m_outcomes.front();
    }

    HostileService m_hostile{m_bus->Address()};
    BareRemote m_remote;
};

ON_BOTH_BUSES(ABoundedRemote);

TEST_P(ABoundedRemote, DropsNotificationsWhileTheBusTakesNone) {
    m_bus->Stop();
    std::vector<char> body(256 << 10, 'x');
    for (int count = 0; count < 300; ++count) m_remote.SendNotification(body);
    m_bus->Continue();

    OutcomeOfAsking();  // follows all of them

    EXPECT_GE(m_hostile.CountOf("Notify"), 64u);
    EXPECT_LT(m_hostile.CountOf("Notify"), 200u) << "the socket holds some, of 16 MiB at most";
}

TEST_P(ABoundedRemote, QuotesTheStartOfALongError) {
    m_hostile.m_answerList = [](sd_bus_message* call) {
        const std::string text(std::size_t{4} << 20, 'e');
        return sd_bus_reply_method_errorf(call, "org.example.Error", "%s", text.c_str());
    };

    EXPECT_EQ("ServiceError", OutcomeOfAsking());

    EXPECT_NE(std::string::npos, m_remote.m_errorText.find("org.example.Error: eeee"));
    EXPECT_LT(m_remote.m_errorText.size(), 2048u);
}

// An empty list would look like good news.
TEST_P(ABoundedRemote, TellsAFailureWhenMemoryForAReplyRunsOut) {
    ASSERT_TRUE(RunUntil([this] { return m_remote.m_isReady; }));
    OutcomeOfAsking();
    m_bus->WaitUntilIdle();
    RunWhatIsReady();  // nothing else goes on from here on
    std::optional<recording::FailingAllocation> failing;
    std::size_t nth = 1;
    m_hostile.m_answerList = [&](sd_bus_message* call) {
        const int result = HostileService::ReplyText(call, "Maps\tmaps\n");
        failing.emplace(nth);
        return result;
    };
    std::size_t failures = 0;
    bool hasFailed = true;
    for (; hasFailed && nth < 100; ++nth) {
        std::string outcome;
        std::vector<char> request = BareRemote::Question();
        m_remote.PostMessage(request, [&](RemoteReply& reply) {
            hasFailed = failing->HasFailed();
            failing.reset();
            outcome = reply.error ? NameOf(reply.error->GetCause())
                                  : std::string(reply.body.begin(), reply.body.end()) + "!";
        });
        ASSERT_TRUE(RunUntil([&] { return !outcome.empty(); })) << "allocation " << nth;
        if (outcome == "Failed") {
            ++failures;
        } else {
            EXPECT_EQ("Maps\tmaps\n!", outcome) << "allocation " << nth;
        }
    }
    EXPECT_FALSE(hasFailed);
    EXPECT_GE(failures, 1u);
}

// ---- How long it waits --------------------------------------------------------------------------

TEST_P(ABoundedRemote, WaitsAMomentWhenItMayWaitForNoTime) {
    m_hostile.m_answerList = [](sd_bus_message*) { return 0; };
    m_remote.SetTimeout(milliseconds(0));
    const auto start = Clock::now();

    EXPECT_EQ("TimedOut", OutcomeOfAsking());

    EXPECT_LT(Clock::now() - start, milliseconds(1500));
}

TEST_P(ABoundedRemote, WaitsForAnAnswerWhenItMayWaitForever) {
    m_remote.SetTimeout(milliseconds::max());

    EXPECT_EQ("", OutcomeOfAsking());
}

class ARemoteAsItIsMade : public ABoundedRemote {};

INSTANTIATE_TEST_SUITE_P(OnOneBus, ARemoteAsItIsMade,
                         ::testing::Values(BusVariety{BusProgram::Daemon, BusLimits::BuiltIn}),
                         [](const auto& test) { return NameOf(test.param); });

TEST_P(ARemoteAsItIsMade, WaitsFiveSeconds) {
    m_hostile.m_answerList = [](sd_bus_message*) { return 0; };
    const auto start = Clock::now();

    EXPECT_EQ("TimedOut", OutcomeOfAsking());

    EXPECT_GE(Clock::now() - start, milliseconds(5000));
    EXPECT_LT(Clock::now() - start, milliseconds(7000));
}
