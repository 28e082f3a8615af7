// SPDX-License-Identifier: MIT

#include "remote/RemoteSession.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "PairBus.h"
#include "partner/CauseName.h"
#include "partner/QuietLog.h"
#include "remote/FakeRoute.h"
#include "remote/RemoteLimits.h"

using applist::RemoteError;
using applist::RemoteReply;
using applist::RemoteSession;
using std::chrono::milliseconds;
using Strings = std::vector<std::string>;

namespace {

std::vector<char> Bytes(const std::string& text) {
    return std::vector<char>(text.begin(), text.end());
}

// Keeps what it is told. Its own connection is of no interest: the session under test has another
// route.
class Owner : public applist::TesselDbusRemote {
public:
    Owner() : TesselDbusRemote("Applist") {}

    std::vector<char> HandleMessage(std::vector<char>&) override { return {}; }
    void HandleNotification(std::vector<char>& data) override {
        m_told.push_back("notification " + std::string(data.begin(), data.end()));
        if (m_onTold) m_onTold();
    }
    void HandleConnectionReady(bool state, const std::string& partner) override {
        m_told.push_back((state ? "usable " : "gone ") + partner);
        if (m_onTold) m_onTold();
    }

    Strings m_told;
    std::function<void()> m_onTold;
};

class ARemoteSession : public ::testing::Test {
protected:
    ARemoteSession() { ForgetLog(); }

    void Appear() {
        EXPECT_TRUE(m_session->Appeared(":1.7"));
        m_session->Joined();
        m_session->Counted(0, "");
        m_owner.m_told.clear();
    }

    void Post(const std::string& text) {
        m_session->Post(Bytes(text), [this, text](RemoteReply& reply) {
            m_outcomes.push_back(
                reply.error ? text + "!" + NameOf(reply.error->GetCause())
                            : text + "=" + std::string(reply.body.begin(), reply.body.end()));
        });
    }

    void Answer(std::size_t index) {
        m_session->Answered(m_route.m_sent.at(index).id, RemoteReply{Bytes("ok"), std::nullopt});
    }

    // What Send returns, or the cause that it throws.
    std::string Send(const std::string& text) {
        try {
            const std::vector<char> reply = m_session->Send(Bytes(text));
            return std::string(reply.begin(), reply.end());
        } catch (const RemoteError& error) {
            return NameOf(error.GetCause());
        }
    }

    FakeRoute m_route;
    Owner m_owner;
    std::unique_ptr<RemoteSession> m_session =
        std::make_unique<RemoteSession>(m_owner, "Applist", m_route);
    Strings m_outcomes;
};

}  // namespace

// ---- The service --------------------------------------------------------------------------------

TEST_F(ARemoteSession, ConnectsAndAsksForTheCountBeforeItSendsCalls) {
    Post("a");
    EXPECT_TRUE(m_session->Appeared(":1.7"));

    EXPECT_EQ(1, m_route.m_connects);
    EXPECT_EQ(1, m_route.m_questions);
    EXPECT_EQ(1u, m_route.m_sent.size());
    EXPECT_EQ(Strings{}, m_owner.m_told);
}

TEST_F(ARemoteSession, TellsThatTheServiceIsUsableOnceItHasTheCount) {
    EXPECT_TRUE(m_session->Appeared(":1.7"));
    m_session->Notified(Bytes("early"), true);
    EXPECT_EQ(Strings{}, m_owner.m_told) << "the first reading covers it";

    m_session->Counted(1, "");
    m_session->Notified(Bytes("x"), true);

    EXPECT_EQ((Strings{"usable :1.7", "notification x"}), m_owner.m_told);
}

TEST_F(ARemoteSession, SaysOnceThatThereIsNoCount) {
    EXPECT_TRUE(m_session->Appeared(":1.7"));
    m_session->Joined();
    m_session->Counted(std::nullopt, "not allowed");
    m_session->Counted(std::nullopt, "not allowed");

    EXPECT_EQ(Strings{"usable :1.7"}, m_owner.m_told);
    EXPECT_EQ(1u, ErrorsLogged("a lost one goes unnoticed: not allowed"));
}

TEST_F(ARemoteSession, TellsALossAsAServiceThatIsUsableAgain) {
    Appear();
    m_session->Notified(Bytes("x"), true);

    m_session->Counted(2, "");

    EXPECT_EQ((Strings{"notification x", "usable :1.7"}), m_owner.m_told);
}

TEST_F(ARemoteSession, DeliversWhatItEndsBeforeItTellsThatTheServiceIsGone) {
    Appear();
    Post("a");

    m_session->Gone("a bus");

    EXPECT_EQ(Strings{"a!OutcomeUnknown"}, m_outcomes);
    EXPECT_EQ(Strings{"gone :1.7"}, m_owner.m_told);
}

TEST_F(ARemoteSession, SaysNothingOfAServiceThatWasNotThere) {
    m_session->Gone("a bus");

    EXPECT_EQ(Strings{}, m_owner.m_told);
}

TEST_F(ARemoteSession, FailsToAppearWhenNothingCanBeSent) {
    m_route.m_result = -ENOMEM;

    EXPECT_FALSE(m_session->Appeared(":1.7"));
}

TEST_F(ARemoteSession, GoesOnWhenItsOwnerThrows) {
    m_owner.m_onTold = [] { throw std::runtime_error("no"); };
    EXPECT_TRUE(m_session->Appeared(":1.7"));

    m_session->Counted(0, "");
    m_session->Notified(Bytes("x"), true);
    m_session->Gone("a bus");

    EXPECT_EQ((Strings{"usable :1.7", "notification x", "gone :1.7"}), m_owner.m_told);
}

// ---- A place ------------------------------------------------------------------------------------

TEST_F(ARemoteSession, AsksForAPlaceAgainWithPausesThatGrow) {
    EXPECT_TRUE(m_session->Appeared(":1.7"));
    std::vector<int> seconds;
    for (int time = 0; time < 6; ++time) {
        const RemoteSession::Time refused = m_route.m_now;
        m_session->HadNoPlace("too many partners");
        m_session->Counted(0, "");
        const int asked = m_route.m_connects;
        while (m_route.m_connects == asked) {
            m_route.m_now = m_session->Due();
            m_session->TimePassed();
        }
        EXPECT_EQ(asked + 1, m_route.m_connects);
        seconds.push_back(static_cast<int>((m_route.m_now - refused) / milliseconds(1000)));
    }

    EXPECT_EQ((std::vector<int>{1, 2, 4, 8, 8, 8}), seconds);
    EXPECT_EQ(1u, ErrorsLogged("too many partners; asking again")) << WholeLog();
}

TEST_F(ARemoteSession, DoesNotAskForAPlaceWhileTheAnswerIsAwaited) {
    EXPECT_TRUE(m_session->Appeared(":1.7"));
    m_session->HadNoPlace("too many partners");
    m_route.m_now += milliseconds(1000);
    m_session->TimePassed();
    m_route.m_now += milliseconds(60000);

    m_session->TimePassed();

    EXPECT_EQ(2, m_route.m_connects);
}

TEST_F(ARemoteSession, AsksForAPlaceNoMoreOnceItHasOne) {
    EXPECT_TRUE(m_session->Appeared(":1.7"));
    m_session->HadNoPlace("too many partners");
    m_session->Joined();
    m_route.m_now += milliseconds(60000);

    m_session->TimePassed();

    EXPECT_EQ(1, m_route.m_connects);
}

TEST_F(ARemoteSession, AsksNobodyForAPlaceWhenTheServiceIsGone) {
    EXPECT_TRUE(m_session->Appeared(":1.7"));
    m_session->HadNoPlace("too many partners");
    m_session->Gone("a bus");
    m_route.m_now += milliseconds(60000);

    m_session->TimePassed();

    EXPECT_EQ(1, m_route.m_connects);
}

TEST_F(ARemoteSession, AsksForAPlaceLaterWhenTheQuestionCouldNotBeSent) {
    EXPECT_TRUE(m_session->Appeared(":1.7"));
    m_session->HadNoPlace("too many partners");
    m_route.m_result = -ENOMEM;
    m_route.m_now += milliseconds(1000);
    m_session->TimePassed();
    m_route.m_result = 0;
    m_route.m_now += milliseconds(1000);

    m_session->TimePassed();

    EXPECT_EQ(3, m_route.m_connects);
}

// Its list is read and followed all the same.
TEST_F(ARemoteSession, FollowsAServiceThatHasNoPlace) {
    EXPECT_TRUE(m_session->Appeared(":1.7"));
    m_session->Counted(std::nullopt, "not allowed");
    m_session->HadNoPlace("too many partners");
    m_session->Counted(0, "");

    EXPECT_EQ(Strings{"usable :1.7"}, m_owner.m_told);
}

// ---- Waiting ------------------------------------------------------------------------------------

TEST_F(ARemoteSession, WaitsForAReply) {
    Appear();
    m_route.m_onDispatch = [this] {
        Answer(0);
        return true;
    };

    EXPECT_EQ("ok", Send("a"));
}

TEST_F(ARemoteSession, WaitsNoLongerThanItsTimeout) {
    Appear();
    m_session->SetTimeout(milliseconds(100));
    const auto start = m_route.m_now;

    EXPECT_EQ("TimedOut", Send("a"));

    EXPECT_EQ(start + milliseconds(100), m_route.m_now);
    EXPECT_EQ(2, m_route.m_questions) << "whether the service is still there is asked at once";
}

// A program that does nothing but wait runs no loop in which its connection could come back.
TEST_F(ARemoteSession, LetsItsRouteCatchUpBeforeItSaysThatThereIsNoService) {
    m_session->Gone("the bus");
    m_route.m_onCatchUp = [this] { Appear(); };
    m_route.m_onDispatch = [this] {
        Answer(0);
        return true;
    };

    EXPECT_EQ("ok", Send("a"));
}

TEST_F(ARemoteSession, SaysSoWhenItIsClosedWhileItsRouteCatchesUp) {
    m_route.m_onCatchUp = [this] { m_session->Close(m_route.m_now); };

    EXPECT_EQ("OutcomeUnknown", Send("a"));
    EXPECT_TRUE(m_route.m_sent.empty());
}

TEST_F(ARemoteSession, DoesNotWaitFromInsideACallback) {
    Appear();
    m_route.m_isDispatching = true;
    m_route.m_onCatchUp = [] { FAIL() << "that may end the connection under the callback"; };

    EXPECT_EQ("Failed", Send("a"));
    EXPECT_TRUE(m_route.m_sent.empty());
}

// Such as when a timer finds that the connection is lost.
TEST_F(ARemoteSession, DoesNotWaitWhileItTellsOfTheConnection) {
    Appear();
    std::string inside;
    m_owner.m_onTold = [&] { inside = Send("a"); };

    m_session->Gone("the bus");

    EXPECT_EQ("Failed", inside);
    m_owner.m_onTold = nullptr;
}

TEST_F(ARemoteSession, DoesNotWaitFromInsideAReplysHandler) {
    Appear();
    std::string inside;
    m_session->Post(Bytes("a"), [&](RemoteReply&) { inside = Send("b"); });

    Answer(0);

    EXPECT_EQ("Failed", inside);
}

TEST_F(ARemoteSession, WaitsForRoomFirst) {
    for (std::size_t count = 0; count < applist::remote_limits::kMaxWaitingCalls; ++count) {
        Post("many");
    }
    bool hasOpened = false;
    std::size_t answered = 0;
    m_route.m_onDispatch = [&] {
        if (!std::exchange(hasOpened, true)) {
            Appear();
        } else {
            Answer(answered++);
        }
        return true;
    };

    EXPECT_EQ("ok", Send("last"));
}

TEST_F(ARemoteSession, SaysSoWhenItIsClosedWhileItWaits) {
    Appear();
    m_route.m_onDispatch = [this] {
        m_session->Close(m_route.m_now);
        return true;
    };

    EXPECT_EQ("OutcomeUnknown", Send("a"));
}

TEST_F(ARemoteSession, EndsOtherCallsThatAreOverdueWhileItWaits) {
    Appear();
    m_session->SetTimeout(milliseconds(100));
    Post("short");
    m_session->SetTimeout(milliseconds(1000));
    m_route.m_onDispatch = [this] {
        if (m_outcomes.empty()) return false;
        Answer(1);
        return true;
    };

    EXPECT_EQ("ok", Send("a"));
    EXPECT_EQ(Strings{"short!TimedOut"}, m_outcomes);
}

// ---- Notifications ------------------------------------------------------------------------------

TEST_F(ARemoteSession, NotifiesAServiceThatIsThere) {
    m_session->Notify(Bytes("to nobody"));
    Appear();
    m_session->Notify(Bytes("x"));

    EXPECT_EQ(Strings{"x"}, m_route.m_notifications);
}

TEST_F(ARemoteSession, DropsANotificationThatNoBusCarries) {
    Appear();
    const std::size_t most = applist::remote_limits::kMaxInlineBytes;

    m_session->Notify(std::vector<char>(most));
    EXPECT_EQ(1u, m_route.m_notifications.size());
    m_session->Notify(std::vector<char>(most + 1));

    EXPECT_EQ(1u, m_route.m_notifications.size());
    EXPECT_EQ(1u, ErrorsLogged("more than a bus carries"));
}

// ---- Time ---------------------------------------------------------------------------------------

TEST_F(ARemoteSession, CallsLaterOnceAndNoEarlier) {
    int calls = 0;
    m_session->CallLater(milliseconds(50), [&] { ++calls; });
    EXPECT_EQ(m_route.m_now + milliseconds(50), m_session->Due());

    m_route.m_now += milliseconds(49);
    m_session->TimePassed();
    EXPECT_EQ(0, calls);
    m_route.m_now += milliseconds(1);
    m_session->TimePassed();
    m_session->TimePassed();

    EXPECT_EQ(1, calls);
    EXPECT_EQ(RemoteSession::Time::max(), m_session->Due());
}

TEST_F(ARemoteSession, LetsTheSecondCallbackTakeTheFirstOnesPlace) {
    Strings called;
    m_session->CallLater(milliseconds(50), [&] { called.push_back("first"); });
    m_session->CallLater(milliseconds(80), [&] { called.push_back("second"); });

    m_route.m_now += milliseconds(100);
    m_session->TimePassed();

    EXPECT_EQ(Strings{"second"}, called);
}

TEST_F(ARemoteSession, AsksForTheCountAfterACallThatWasNotAnswered) {
    Appear();
    m_session->SetTimeout(milliseconds(100));
    Post("a");

    m_route.m_now += milliseconds(100);
    m_session->TimePassed();

    EXPECT_EQ(Strings{"a!TimedOut"}, m_outcomes);
    EXPECT_EQ(2, m_route.m_questions);
    m_session->Counted(0, "");
    EXPECT_EQ(Strings{"usable :1.7"}, m_owner.m_told) << "it is back after a silence";
}

// A question that was never sent is not waited for.
TEST_F(ARemoteSession, AsksForTheCountAgainSoonWhenThereWasNoMemoryToAsk) {
    Appear();
    const int before = m_route.m_questions;
    m_route.m_hasNoMemory = true;
    m_route.m_now += applist::remote_limits::kCompareAtRest;
    EXPECT_NO_THROW(m_session->TimePassed());
    m_route.m_hasNoMemory = false;

    m_route.m_now += applist::remote_limits::kCompareAtRest;
    m_session->TimePassed();

    EXPECT_EQ(before + 1, m_route.m_questions);
}

// ---- The end ------------------------------------------------------------------------------------

TEST_F(ARemoteSession, ClosesWithoutAWordWhenThereIsNothingToSend) {
    Appear();
    Post("a");
    Answer(0);

    EXPECT_FALSE(m_session->Close(m_route.m_now));
}

TEST_F(ARemoteSession, SendsWhatWaitsWhenItIsClosed) {
    Appear();
    for (std::size_t count = 0; count < applist::remote_limits::kMaxCallsUnderWay; ++count) {
        Post("many");
    }
    Post("last");

    EXPECT_TRUE(m_session->Close(m_route.m_now));

    EXPECT_EQ(Strings{"last"}, m_route.m_unanswered);
}

TEST_F(ARemoteSession, WaitsForTheServiceToSendItWhatWaits) {
    Post("a");
    m_route.m_onDispatch = [this] { return m_session->Appeared(":1.7"); };

    EXPECT_TRUE(m_session->Close(m_route.m_now + milliseconds(100)));

    EXPECT_EQ(1u, m_route.m_sent.size());
    EXPECT_EQ(Strings{}, m_owner.m_told);
}

TEST_F(ARemoteSession, TellsItsOwnerNothingOnceItIsClosed) {
    Appear();
    Post("a");
    m_session->CallLater(milliseconds(1), [this] { m_outcomes.push_back("later"); });
    m_session->Close(m_route.m_now);

    Answer(0);
    m_session->Notified(Bytes("x"), true);
    m_session->Counted(9, "");
    m_session->Gone("a bus");
    m_route.m_now += milliseconds(10);
    m_session->TimePassed();

    EXPECT_EQ(Strings{}, m_owner.m_told);
    EXPECT_EQ(Strings{}, m_outcomes);
}

// ---- Another way to the same service ------------------------------------------------------------

TEST_F(ARemoteSession, SendsNothingWhileItIsHeld) {
    Appear();
    m_session->Hold();
    Post("a");
    EXPECT_EQ(0u, m_route.m_sent.size());

    m_session->Release();

    EXPECT_EQ(1u, m_route.m_sent.size());
}

TEST_F(ARemoteSession, SendsWhatWaitsWhenItIsClosedWhileItIsHeld) {
    Appear();
    m_session->Hold();
    Post("a");

    EXPECT_TRUE(m_session->Close(m_route.m_now + milliseconds(1)));

    EXPECT_EQ(1u, m_route.m_sent.size());
    EXPECT_EQ(Strings{}, m_outcomes);
}

TEST_F(ARemoteSession, IsNotReleasedForAServiceThatHasGone) {
    Appear();
    m_session->Hold();
    Post("a");
    m_session->Gone("the bus");

    m_session->Release();

    EXPECT_EQ(0u, m_route.m_sent.size());
    EXPECT_EQ(Strings{"a!NoService"}, m_outcomes);
}

TEST_F(ARemoteSession, DoesNotConnectTwiceOnAWayThatItIsConnectedOn) {
    Appear();
    m_session->Hold();
    Post("a");
    m_route.m_isReliable = true;

    EXPECT_TRUE(m_session->Moved(true));
    EXPECT_EQ(1u, m_route.m_sent.size());
    EXPECT_EQ(1, m_route.m_connects);
    EXPECT_EQ(2, m_route.m_questions);
    m_session->Notified(Bytes("b"), true);
    m_session->Counted(1, "");

    EXPECT_EQ(Strings{"notification b"}, m_owner.m_told) << "nothing was lost";
    Answer(0);
    EXPECT_EQ(RemoteSession::Time::max(), m_session->Due()) << "on a reliable way nothing is due";
}

TEST_F(ARemoteSession, ConnectsAnewWhenItsWayHasEndedAndDoesNotRepeatACall) {
    Appear();
    Post("a");

    EXPECT_TRUE(m_session->Moved(false));

    EXPECT_EQ(Strings{"a!OutcomeUnknown"}, m_outcomes);
    EXPECT_EQ(1u, m_route.m_sent.size());
    EXPECT_EQ(2, m_route.m_connects);
    EXPECT_EQ(Strings{}, m_owner.m_told) << "the service has not gone";
    m_session->Joined();
    m_session->Counted(0, "");
    EXPECT_EQ(Strings{"usable :1.7"}, m_owner.m_told);
}

TEST_F(ARemoteSession, GoesOnAskingForAPlaceOnAnotherWay) {
    Appear();
    m_session->HadNoPlace("full");

    EXPECT_TRUE(m_session->Moved(true));
    EXPECT_EQ(1, m_route.m_connects);
    m_route.m_now += applist::remote_limits::kFirstPlacePause;
    m_session->TimePassed();

    EXPECT_EQ(2, m_route.m_connects);
}

TEST_F(ARemoteSession, CannotGoOnWhenNothingCanBeSentOnTheOtherWay) {
    Appear();
    m_route.m_result = -ENOTCONN;

    EXPECT_FALSE(m_session->Moved(true));
    EXPECT_FALSE(m_session->Moved(false));
}

TEST_F(ARemoteSession, IsUsableAgainWhenTheServiceSaysThatItDroppedNotifications) {
    Appear();
    m_session->LostSome();
    EXPECT_EQ(2, m_route.m_questions);

    m_session->Counted(0, "");

    EXPECT_EQ(Strings{"usable :1.7"}, m_owner.m_told);
}
