// SPDX-License-Identifier: MIT

#include "remote/CallQueue.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "partner/CauseName.h"
#include "partner/QuietLog.h"
#include "remote/FakeRoute.h"
#include "remote/RemoteLimits.h"

using applist::CallQueue;
using applist::RemoteErrors;
using applist::RemoteReply;
using applist::remote_limits::kMaxBytesUnderWay;
using applist::remote_limits::kMaxCallsUnderWay;
using applist::remote_limits::kMaxWaitingBytes;
using applist::remote_limits::kMaxWaitingCalls;
using std::chrono::milliseconds;
using Strings = std::vector<std::string>;
using Times = std::vector<CallQueue::Time>;

namespace {

class ACallQueue : public ::testing::Test {
protected:
    ACallQueue() { ForgetLog(); }

    // Posts a call; what becomes of it is noted as "text=reply", or "text!Cause".
    void Post(const std::string& text) { PostBytes(text, {text.begin(), text.end()}); }

    void PostBytes(const std::string& name, std::vector<char> request) {
        m_queue.Post(std::move(request), [this, name](RemoteReply& reply) {
            Note(name, reply);
            if (m_onNoted) m_onNoted(name);
        });
    }

    void SendLast() {
        m_queue.SendLast(std::chrono::seconds(1), m_route.m_now + std::chrono::hours(1));
    }

    void PostMany(std::size_t count) {
        for (std::size_t posted = 0; posted < count; ++posted) Post("many");
    }

    void Note(const std::string& name, const RemoteReply& reply) {
        m_outcomes.push_back(reply.error
                                 ? name + "!" + NameOf(reply.error->GetCause())
                                 : name + "=" + std::string(reply.body.begin(), reply.body.end()));
    }

    // Answers the call that was sent as the `index`th.
    void Answer(std::size_t index, const std::string& text = "ok") {
        RemoteReply reply;
        reply.body.assign(text.begin(), text.end());
        m_queue.Answer(m_route.m_sent.at(index).id, std::move(reply));
    }

    Strings Sent() const {
        Strings sent;
        for (const FakeRoute::Call& call : m_route.m_sent) sent.push_back(call.request);
        return sent;
    }

    std::size_t CountOf(const std::string& outcome) const {
        return static_cast<std::size_t>(std::count(m_outcomes.begin(), m_outcomes.end(), outcome));
    }

    FakeRoute m_route;
    RemoteErrors m_errors{"Applist"};
    CallQueue m_queue{m_errors, m_route};
    Strings m_outcomes;
    std::function<void(const std::string&)> m_onNoted;
};

}  // namespace

// ---- Order --------------------------------------------------------------------------------------

TEST_F(ACallQueue, KeepsCallsUntilItIsKnownWhoTheServiceIs) {
    Post("a");
    Post("b");
    EXPECT_EQ(Strings{}, Sent());

    m_queue.Open();

    EXPECT_EQ((Strings{"a", "b"}), Sent());
    EXPECT_EQ(Strings{}, m_outcomes);
}

TEST_F(ACallQueue, DeliversInTheOrderOfPostingWhateverWasAnsweredFirst) {
    m_queue.Open();
    Post("a");
    Post("b");
    Post("c");

    Answer(2, "3");
    Answer(1, "2");
    EXPECT_EQ(Strings{}, m_outcomes);
    Answer(0, "1");

    EXPECT_EQ((Strings{"a=1", "b=2", "c=3"}), m_outcomes);
    EXPECT_TRUE(m_queue.IsEmpty());
}

TEST_F(ACallQueue, DeliversEachReplyOnce) {
    m_queue.Open();
    Post("a");
    Post("b");

    Answer(1, "first");
    Answer(1, "second");
    Answer(0);
    Answer(0);
    Answer(1, "third");

    EXPECT_EQ((Strings{"a=ok", "b=first"}), m_outcomes);
}

TEST_F(ACallQueue, IsNotTakenInByAnswersToCallsThatItNeverSent) {
    Post("a");
    m_queue.Answer(0, RemoteReply());
    m_queue.Answer(1, RemoteReply());
    m_queue.Answer(2, RemoteReply());
    m_queue.Answer(UINT64_MAX, RemoteReply());

    EXPECT_EQ(Strings{}, m_outcomes);
}

TEST_F(ACallQueue, HearsOfAnAnswerForWhichThereWasNoMemory) {
    m_queue.Open();
    Post("a");

    m_queue.Answer(m_route.m_sent[0].id, std::nullopt);

    EXPECT_EQ(Strings{"a!Failed"}, m_outcomes);
}

TEST_F(ACallQueue, IsDoneWithOneReplyBeforeItDeliversTheNext) {
    m_queue.Open();
    Strings order;
    m_onNoted = [&](const std::string& name) {
        order.push_back("begin " + name);
        if (name == "a") {
            EXPECT_TRUE(m_queue.IsDelivering());
            Answer(1);
            Post("c");
        }
        order.push_back("end " + name);
    };
    Post("a");
    Post("b");

    Answer(0);

    EXPECT_EQ((Strings{"begin a", "end a", "begin b", "end b"}), order);
    EXPECT_EQ((Strings{"a", "b", "c"}), Sent());
    EXPECT_FALSE(m_queue.IsDelivering());
}

TEST_F(ACallQueue, GoesOnAfterAHandlerThatThrows) {
    m_queue.Open();
    m_onNoted = [](const std::string& name) {
        if (name == "a") throw std::runtime_error("no");
    };
    Post("a");
    Post("b");

    Answer(0);
    Answer(1);

    EXPECT_EQ((Strings{"a=ok", "b=ok"}), m_outcomes);
}

// ---- Bounds -------------------------------------------------------------------------------------

TEST_F(ACallQueue, HasSoManyCallsUnderWay) {
    m_queue.Open();

    PostMany(kMaxCallsUnderWay - 1);
    EXPECT_EQ(kMaxCallsUnderWay - 1, m_route.m_sent.size());
    PostMany(1);
    EXPECT_EQ(kMaxCallsUnderWay, m_route.m_sent.size());
    PostMany(1);
    EXPECT_EQ(kMaxCallsUnderWay, m_route.m_sent.size());
    EXPECT_TRUE(m_queue.HasWaiting());

    Answer(0);

    EXPECT_EQ(kMaxCallsUnderWay + 1, m_route.m_sent.size());
    EXPECT_FALSE(m_queue.HasWaiting());
}

TEST_F(ACallQueue, HasSoManyBytesUnderWay) {
    m_queue.Open();

    PostBytes("half", std::vector<char>(kMaxBytesUnderWay / 2));
    PostBytes("rest", std::vector<char>(kMaxBytesUnderWay - kMaxBytesUnderWay / 2));
    EXPECT_EQ(2u, m_route.m_sent.size());
    Post("one more");
    EXPECT_EQ(2u, m_route.m_sent.size());

    Answer(0);

    EXPECT_EQ(3u, m_route.m_sent.size());
}

TEST_F(ACallQueue, SendsOneCallOfAnySizeAlone) {
    m_queue.Open();

    PostBytes("large", std::vector<char>(4 * kMaxBytesUnderWay));
    Post("behind");
    EXPECT_EQ(1u, m_route.m_sent.size());

    Answer(0);

    EXPECT_EQ(2u, m_route.m_sent.size());
}

TEST_F(ACallQueue, RefusesWhatIsTooMuchToWaitAndNothingElse) {
    PostMany(kMaxWaitingCalls - 1);
    EXPECT_TRUE(m_queue.HasRoomFor(1));
    PostMany(1);
    EXPECT_FALSE(m_queue.HasRoomFor(1));

    Post("too much");

    EXPECT_EQ(Strings{"too much!TooMuch"}, m_outcomes);
    m_queue.Open();
    EXPECT_TRUE(m_queue.HasRoomFor(1));
}

TEST_F(ACallQueue, BoundsTheBytesThatWaitButLetsOneIn) {
    EXPECT_TRUE(m_queue.HasRoomFor(2 * kMaxWaitingBytes));
    PostBytes("first", std::vector<char>(10));

    EXPECT_TRUE(m_queue.HasRoomFor(kMaxWaitingBytes - 10));
    EXPECT_FALSE(m_queue.HasRoomFor(kMaxWaitingBytes - 9));
}

TEST_F(ACallQueue, CountsTheBytesOfWhatWasEndedNoMore) {
    PostBytes("first", std::vector<char>(kMaxWaitingBytes));
    m_queue.Close("a bus");
    m_queue.Expect();

    EXPECT_TRUE(m_queue.HasRoomFor(kMaxWaitingBytes));
    m_queue.Open();
    PostBytes("half", std::vector<char>(kMaxBytesUnderWay / 2));
    PostBytes("half", std::vector<char>(kMaxBytesUnderWay / 2));
    EXPECT_EQ(2u, m_route.m_sent.size());
}

TEST_F(ACallQueue, SendsNoMoreWhileTheOtherEndTakesNothing) {
    m_queue.Open();
    m_route.m_isClogged = true;

    Post("a");
    Post("b");
    EXPECT_EQ(Strings{"a"}, Sent()) << "one, since only an answer brings the next";

    m_route.m_isClogged = false;
    Answer(0);
    EXPECT_EQ((Strings{"a", "b"}), Sent());
}

TEST_F(ACallQueue, SendsNothingOnAConnectionThatHasEnded) {
    m_queue.Open();
    m_route.m_isOpen = false;

    Post("a");
    m_queue.Close("a bus");

    EXPECT_EQ(Strings{}, Sent());
    EXPECT_EQ(Strings{"a!NoService"}, m_outcomes);
}

// ---- Failing ------------------------------------------------------------------------------------

TEST_F(ACallQueue, TellsWhatWasUnderWayFromWhatWasNotWhenTheServiceGoes) {
    m_queue.Open();
    PostMany(kMaxCallsUnderWay);
    Post("waiting");

    m_queue.Close("a bus");

    EXPECT_EQ(kMaxCallsUnderWay, CountOf("many!OutcomeUnknown"));
    EXPECT_EQ("waiting!NoService", m_outcomes.back());
    EXPECT_EQ(kMaxCallsUnderWay, m_route.m_forgotten.size());
}

TEST_F(ACallQueue, KeepsTheAnswerThatCameBeforeTheServiceWent) {
    m_queue.Open();
    Post("a");
    Post("b");
    Answer(1);

    m_queue.Close("a bus");

    EXPECT_EQ((Strings{"a!OutcomeUnknown", "b=ok"}), m_outcomes);
}

TEST_F(ACallQueue, RefusesCallsAtOnceWithoutAService) {
    m_queue.Close("a bus");

    Post("a");

    EXPECT_EQ(Strings{"a!NoService"}, m_outcomes);
}

TEST_F(ACallQueue, NeverSendsAgainWhatWasUnderWay) {
    m_queue.Open();
    Post("a");
    m_queue.Close("a bus");
    m_queue.Expect();
    Post("b");
    m_queue.Open();

    EXPECT_EQ((Strings{"a", "b"}), Sent());
}

TEST_F(ACallQueue, TellsOfACallThatCouldNotBeSentAndGoesOn) {
    m_queue.Open();
    m_route.m_result = -EMFILE;
    Post("a");
    m_route.m_result = 0;
    Post("b");
    Answer(0);

    EXPECT_EQ((Strings{"a!Failed", "b=ok"}), m_outcomes);
}

// It has ended unnoticed, and another one follows.
TEST_F(ACallQueue, KeepsACallWithWhichTheConnectionEndsForTheNextOne) {
    m_queue.Open();
    m_route.m_endsWith = -ECONNRESET;
    Post("a");
    Post("b");
    EXPECT_EQ(Strings{}, m_outcomes);
    EXPECT_FALSE(m_queue.HasUnderWay());

    m_route.m_isOpen = true;
    m_queue.Open();
    Answer(0);
    Answer(1);

    EXPECT_EQ((Strings{"a", "b"}), Sent());
    EXPECT_EQ((Strings{"a=ok", "b=ok"}), m_outcomes);
}

// ---- Time ---------------------------------------------------------------------------------------

TEST_F(ACallQueue, EndsWhatIsNotAnsweredInTime) {
    m_queue.SetTimeout(milliseconds(100));
    m_queue.Open();
    EXPECT_EQ(CallQueue::Time::max(), m_queue.Due());
    Post("a");
    m_route.m_now += milliseconds(60);
    Post("b");
    EXPECT_EQ(m_route.m_now + milliseconds(40), m_queue.Due());

    m_route.m_now += milliseconds(39);
    EXPECT_FALSE(m_queue.EndOverdue());
    m_route.m_now += milliseconds(1);
    EXPECT_TRUE(m_queue.EndOverdue());

    EXPECT_EQ(Strings{"a!TimedOut"}, m_outcomes);
    EXPECT_EQ(m_route.m_now + milliseconds(60), m_queue.Due());
    Answer(0, "late");
    Answer(1);
    EXPECT_EQ((Strings{"a!TimedOut", "b=ok"}), m_outcomes);
    EXPECT_EQ(1u, m_route.m_forgotten.size());
}

TEST_F(ACallQueue, CountsTheTimeFromWhenACallIsSent) {
    m_queue.SetTimeout(milliseconds(100));
    Post("a");
    m_route.m_now += milliseconds(1000);
    EXPECT_FALSE(m_queue.EndOverdue());

    m_queue.Open();

    EXPECT_EQ(m_route.m_now + milliseconds(100), m_queue.Due());
}

// ---- Another way to the same service ------------------------------------------------------------

TEST_F(ACallQueue, LetsCallsWaitWhileThoseUnderWayAreAnswered) {
    m_queue.Open();
    Post("a");
    m_queue.Expect();
    Post("b");
    EXPECT_TRUE(m_queue.HasUnderWay());

    Answer(0);

    EXPECT_FALSE(m_queue.HasUnderWay());
    EXPECT_EQ(Strings{"a"}, Sent());
    m_queue.Open();
    EXPECT_EQ((Strings{"a", "b"}), Sent());
}

TEST_F(ACallQueue, EndsWhatIsUnderWayAndKeepsWhatWaitsWhenItIsInterrupted) {
    m_queue.Open();
    Post("a");
    Post("b");
    m_queue.Expect();
    Post("c");

    m_queue.Interrupt();
    EXPECT_EQ(Strings{}, m_outcomes) << "told before the new way is open";
    m_queue.Open();
    Answer(2);

    EXPECT_EQ((Strings{"a", "b", "c"}), Sent()) << "each once";
    EXPECT_EQ((Strings{"a!OutcomeUnknown", "b!OutcomeUnknown", "c=ok"}), m_outcomes);
}

TEST_F(ACallQueue, KeepsAnAnswerThatCameBeforeTheInterruption) {
    m_queue.Open();
    Post("a");
    Post("b");
    Answer(1);

    m_queue.Interrupt();
    m_queue.Open();

    EXPECT_EQ((Strings{"a!OutcomeUnknown", "b=ok"}), m_outcomes);
}

// ---- The end ------------------------------------------------------------------------------------

TEST_F(ACallQueue, CallsNobodyOnceItsHandlersAreDropped) {
    m_queue.Open();
    Post("a");
    m_queue.DropHandlers();

    Answer(0);
    m_queue.Close("a bus");

    EXPECT_EQ(Strings{}, m_outcomes);
}

TEST_F(ACallQueue, SendsAllThatWaitsInTheEnd) {
    m_queue.Open();
    PostMany(kMaxCallsUnderWay);
    Post("a");
    Post("b");
    m_queue.DropHandlers();

    SendLast();

    EXPECT_EQ((Strings{"a", "b"}), m_route.m_unanswered);
    EXPECT_FALSE(m_queue.HasWaiting());
}

TEST_F(ACallQueue, WaitsForEachOfTheLastThatFillsWhatMayBeUnderWay) {
    m_queue.Open();
    PostMany(kMaxCallsUnderWay);
    PostMany(200);

    SendLast();

    EXPECT_EQ((std::vector<std::size_t>{0, 63, 126, 189}), m_route.m_awaited);
    EXPECT_EQ(200u, m_route.m_unanswered.size());
}

TEST_F(ACallQueue, WaitsForTheLastAlsoWhenTheyAreLarge) {
    m_queue.Open();
    PostMany(kMaxCallsUnderWay);
    for (int count = 0; count < 3; ++count) Post(std::string(600 << 10, 'x'));

    SendLast();

    EXPECT_EQ((std::vector<std::size_t>{0, 2}), m_route.m_awaited);
}

TEST_F(ACallQueue, TriesAgainWhenTheServiceHasNoRoomYetForOneOfTheLast) {
    m_queue.Open();
    PostMany(kMaxCallsUnderWay);
    Post("a");
    m_route.m_refusals = 3;

    SendLast();

    EXPECT_EQ(4u, m_route.m_awaited.size());
    EXPECT_EQ(Strings{"a"}, m_route.m_unanswered);
}

TEST_F(ACallQueue, PausesLongerBeforeEachTry) {
    m_queue.Open();
    PostMany(kMaxCallsUnderWay);
    Post("a");
    m_route.m_refusals = 4;

    SendLast();

    EXPECT_EQ((Times{milliseconds(1), milliseconds(2), milliseconds(4), milliseconds(8)}),
              m_route.m_pauses);
}

// Each try makes the call anew, and a service that finds it too large never takes it.
TEST_F(ACallQueue, TriesSixteenTimesInASecond) {
    m_queue.Open();
    PostMany(kMaxCallsUnderWay);
    Post("a");
    m_route.m_refusals = 1000;

    SendLast();

    EXPECT_EQ(16u, m_route.m_awaited.size());
    EXPECT_EQ(milliseconds(100), m_route.m_pauses.back());
    EXPECT_EQ(1u, ErrorsLogged("could not be sent: 1 "));
}

TEST_F(ACallQueue, SaysHowManyCallsAreLostWhenTheServiceDoesNotAnswer) {
    m_queue.Open();
    PostMany(kMaxCallsUnderWay);
    PostMany(200);
    m_route.m_awaitedResult = -ETIMEDOUT;

    SendLast();

    EXPECT_EQ(1u, m_route.m_unanswered.size());
    EXPECT_EQ(1u, ErrorsLogged("could not be sent: 199"));
}

TEST_F(ACallQueue, WaitsForNoneOfTheLastPastTheDeadline) {
    m_queue.Open();
    PostMany(kMaxCallsUnderWay);
    Post("a");

    m_queue.SendLast(std::chrono::seconds(10), m_route.m_now + std::chrono::seconds(2));

    EXPECT_EQ(m_route.m_now + std::chrono::seconds(2), m_route.m_awaitedUntil);
}

TEST_F(ACallQueue, SaysHowManyCallsAreLostWhenNobodyKnowsTheService) {
    Post("a");
    Post("b");
    m_queue.DropHandlers();

    SendLast();

    EXPECT_EQ(Strings{}, m_route.m_unanswered);
    EXPECT_EQ(1u, ErrorsLogged("could not be sent: 2"));
}

TEST_F(ACallQueue, SendsNothingPastACallThatIsLost) {
    m_queue.Open();
    PostMany(kMaxCallsUnderWay);
    Post("a");
    Post("b");
    m_route.m_unansweredRoom = 1;

    SendLast();

    EXPECT_EQ(Strings{"a"}, m_route.m_unanswered);
}
