// SPDX-License-Identifier: MIT

#include <cstring>

#include "partner/bus/BareRemote.h"
#include "partner/bus/HostileService.h"
#include "partner/bus/PartnerBusTest.h"
#include "support/SilentBus.h"
#include "support/TestFd.h"

using applist::RemoteReply;

class AHostileService : public PartnerBusTest {
protected:
    AHostileService() : m_hostile(m_bus->Address()) {}

    // What a partner's transport makes of `answer` to the question for the list.
    std::string OutcomeOf(const HostileService::Answer& answer, milliseconds timeout = kBack) {
        m_hostile.m_answerList = answer;
        BareRemote remote;
        remote.SetTimeout(timeout);
        remote.Ask();
        EXPECT_TRUE(RunUntil([&] { return !remote.m_outcomes.empty(); }));
        return remote.m_outcomes.empty() ? "nothing" : remote.m_outcomes.front();
    }

    // A model that shows Maps, from now on hears `answer`, and is told of a change.
    void AnswerAfterAGoodList(const HostileService::Answer& answer) {
        m_hostile.m_answerList = [](sd_bus_message* call) {
            return HostileService::ReplyText(call, "Maps\tmaps\n");
        };
        StartPartner();
        ASSERT_TRUE(Shows("Maps/maps ()", kBack));
        m_witness->Take();
        bool asked = false;
        m_hostile.m_answerList = [&, answer](sd_bus_message* call) {
            asked = true;
            return answer(call);
        };
        m_hostile.TellOfChange();
        ASSERT_TRUE(RunUntil([&] { return asked; }));
        m_hostile.m_answerList = answer;
        WaitForAComparison();
    }

    // What was sent before has been taken then.
    void WaitForAComparison() {
        m_hostile.Announce();
        const std::size_t compared = m_hostile.CountOf("Get");
        ASSERT_TRUE(RunUntil([&] { return m_hostile.CountOf("Get") > compared; }));
        RunWhatIsReady();
    }

    void ExpectTheLastGoodReplica() {
        EXPECT_EQ("Maps/maps ()", DigestOf(*m_model));
        EXPECT_EQ(Strings{}, m_witness->Take());
        EXPECT_TRUE(m_model->IsServiceThere());
    }

    HostileService m_hostile;
};

ON_BOTH_BUSES(AHostileService);

TEST_P(AHostileService, IsUnderstoodAsLongAsItBehaves) {
    EXPECT_EQ("Maps\tmaps\n", OutcomeOf([](sd_bus_message* call) {
                  return HostileService::ReplyText(call, "Maps\tmaps\n");
              }));
}

TEST_P(AHostileService, IsNotUnderstoodWithoutArguments) {
    EXPECT_EQ("NotUnderstood",
              OutcomeOf([](sd_bus_message* call) { return sd_bus_reply_method_return(call, ""); }));
}

TEST_P(AHostileService, IsNotUnderstoodWithAString) {
    EXPECT_EQ("NotUnderstood", OutcomeOf([](sd_bus_message* call) {
                  return sd_bus_reply_method_return(call, "s", "Maps\tmaps\n");
              }));
}

TEST_P(AHostileService, IsNotUnderstoodWithMoreThanWasAskedFor) {
    EXPECT_EQ("NotUnderstood", OutcomeOf([](sd_bus_message* call) {
                  return sd_bus_reply_method_return(call, "ays", 1, 'x', "more");
              }));
}

TEST_P(AHostileService, IsNotUnderstoodWithADescriptorThatWasNotAskedFor) {
    EXPECT_EQ("NotUnderstood", OutcomeOf([](sd_bus_message* call) {
                  const TestFd fd = MemfdOf("Maps\tmaps\n");
                  return sd_bus_reply_method_return(call, "h", fd.Get());
              }));
}

TEST_P(AHostileService, IsQuotedWithItsOwnError) {
    EXPECT_EQ("ServiceError", OutcomeOf([](sd_bus_message* call) {
                  return sd_bus_reply_method_errorf(call, "org.example.Error", "%s", "no\n\tno");
              }));
}

TEST_P(AHostileService, IsAskedForADescriptorWhenItSaysTooLarge) {
    EXPECT_EQ("Maps\tmaps\n", OutcomeOf([](sd_bus_message* call) {
                  if (sd_bus_message_is_method_call(call, nullptr, "MessageFd") > 0) {
                      return HostileService::ReplyText(call, "Maps\tmaps\n");
                  }
                  return sd_bus_reply_method_errorf(call, "org.tessel.Local1.Error.TooLarge", "no");
              }));
    EXPECT_EQ(1u, m_hostile.CountOf("Message"));
    EXPECT_EQ(1u, m_hostile.CountOf("MessageFd"));
}

TEST_P(AHostileService, IsNotAskedForEverWhenItAlwaysSaysTooLarge) {
    EXPECT_EQ("ServiceError", OutcomeOf([](sd_bus_message* call) {
                  return sd_bus_reply_method_errorf(call, "org.tessel.Local1.Error.TooLarge", "no");
              }));
}

TEST_P(AHostileService, IsNotUnderstoodWithADescriptorThatIsNotSealed) {
    EXPECT_EQ("NotUnderstood", OutcomeOf([](sd_bus_message* call) {
                  if (sd_bus_message_is_method_call(call, nullptr, "MessageFd") > 0) {
                      const TestFd fd = MemfdOf("Maps\tmaps\n", 0);
                      return sd_bus_reply_method_return(call, "h", fd.Get());
                  }
                  return sd_bus_reply_method_errorf(call, "org.tessel.Local1.Error.TooLarge", "no");
              }));
}

TEST_P(AHostileService, IsNotUnderstoodWithADescriptorThatIsLargerThanAllowed) {
    EXPECT_EQ("NotUnderstood", OutcomeOf([](sd_bus_message* call) {
                  if (sd_bus_message_is_method_call(call, nullptr, "MessageFd") > 0) {
                      const TestFd fd = SparseMemfd((std::uint64_t{1} << 30) + 1);
                      return sd_bus_reply_method_return(call, "h", fd.Get());
                  }
                  return sd_bus_reply_method_errorf(call, "org.tessel.Local1.Error.TooLarge", "no");
              }));
}

TEST_P(AHostileService, TimesOutWhenItDoesNotAnswer) {
    EXPECT_EQ("TimedOut", OutcomeOf([](sd_bus_message*) { return 0; }, milliseconds(100)));
}

TEST_P(AHostileService, IsNotHeardWhenItAnswersTooLate) {
    sd_bus_message* late = nullptr;
    m_hostile.m_answerList = [&](sd_bus_message* call) {
        if (late != nullptr) return HostileService::ReplyText(call, "second");
        late = sd_bus_message_ref(call);
        return 0;
    };
    BareRemote remote;
    remote.SetTimeout(milliseconds(100));
    remote.Ask();
    ASSERT_TRUE(RunUntil([&] { return remote.m_outcomes.size() == 1; }));

    HostileService::ReplyText(late, "first, too late");
    sd_bus_message_unref(late);
    remote.SetTimeout(kBack);
    remote.Ask();
    ASSERT_TRUE(RunUntil([&] { return remote.m_outcomes.size() == 2; }));

    EXPECT_EQ((Strings{"TimedOut", "second"}), remote.m_outcomes);
}

TEST_P(AHostileService, CannotReorderTheReplies) {
    std::vector<sd_bus_message*> calls;
    m_hostile.m_answerList = [&](sd_bus_message* call) {
        calls.push_back(sd_bus_message_ref(call));
        return 0;
    };
    BareRemote remote;
    remote.Ask();
    remote.Ask();
    ASSERT_TRUE(RunUntil([&] { return calls.size() == 2; }));

    HostileService::ReplyText(calls[1], "second");
    HostileService::ReplyText(calls[0], "first");
    ASSERT_TRUE(RunUntil([&] { return remote.m_outcomes.size() == 2; }));

    EXPECT_EQ((Strings{"first", "second"}), remote.m_outcomes);
    for (sd_bus_message* call : calls) sd_bus_message_unref(call);
}

// Whoever keeps a copy of its state cannot know what happened meanwhile.
TEST_P(AHostileService, IsReportedAsReadyAgainAfterASilence) {
    m_hostile.m_answerList = [](sd_bus_message*) { return 0; };
    BareRemote remote;
    ASSERT_TRUE(RunUntil([&] { return remote.m_readies == 1; }));
    remote.SetTimeout(milliseconds(100));

    remote.Ask();

    EXPECT_TRUE(RunUntil([&] { return remote.m_readies == 2; }));
    EXPECT_EQ(Strings{"TimedOut"}, remote.m_outcomes);
}

TEST_P(AHostileService, IsFollowedWithoutACountOfNotifications) {
    m_hostile.m_answerSerial = [](sd_bus_message* call) {
        return sd_bus_reply_method_errorf(call, SD_BUS_ERROR_UNKNOWN_PROPERTY, "no");
    };
    BareRemote remote;

    EXPECT_TRUE(RunUntil([&] { return remote.m_isReady; }));
}

TEST_P(AHostileService, IsFollowedWithACountOfTheWrongType) {
    m_hostile.m_answerSerial = [](sd_bus_message* call) {
        return sd_bus_reply_method_return(call, "v", "s", "many");
    };
    BareRemote remote;

    EXPECT_TRUE(RunUntil([&] { return remote.m_isReady; }));
}

// What the bus says in a service's place is no answer of the service's.
TEST_P(AHostileService, IsNotUsableWhileTheBusAnswersForIt) {
    const HostileService::Answer truth = m_hostile.m_answerSerial;
    for (const char* error : {SD_BUS_ERROR_SERVICE_UNKNOWN, SD_BUS_ERROR_NO_REPLY}) {
        m_hostile.m_answerSerial = [error](sd_bus_message* call) {
            return sd_bus_reply_method_errorf(call, error, "no");
        };
        BareRemote remote;
        remote.Ask();  // answered after the count
        ASSERT_TRUE(RunUntil([&] { return !remote.m_outcomes.empty(); }));
        EXPECT_FALSE(remote.m_isReady) << error;

        m_hostile.m_answerSerial = truth;
        m_hostile.Announce();
        EXPECT_TRUE(RunUntil([&] { return remote.m_isReady; })) << error;
    }
}

// ---- The model above it -------------------------------------------------------------------------

TEST_P(AHostileService, LeavesTheLastGoodReplicaWithHalfAnItem) {
    AnswerAfterAGoodList([](sd_bus_message* call) {
        return HostileService::ReplyText(call, "Maps\tmaps\nRadio\tra");
    });

    ExpectTheLastGoodReplica();
    EXPECT_EQ(1u, ErrorsLogged("not a list of items")) << WholeLog();
}

TEST_P(AHostileService, LeavesTheLastGoodReplicaWithTheWrongType) {
    AnswerAfterAGoodList(
        [](sd_bus_message* call) { return sd_bus_reply_method_return(call, "as", 1, "Maps"); });

    ExpectTheLastGoodReplica();
    EXPECT_EQ(1u, ErrorsLogged("not understood")) << WholeLog();
}

TEST_P(AHostileService, LeavesTheLastGoodReplicaWithAListWithoutAnEnd) {
    const std::string endless(std::size_t{12} << 20, '\n');
    AnswerAfterAGoodList(
        [&](sd_bus_message* call) { return HostileService::ReplyText(call, endless); });

    ExpectTheLastGoodReplica();
}

TEST_P(AHostileService, IsShownAgainWhenItCameToItsSenses) {
    AnswerAfterAGoodList([](sd_bus_message* call) { return HostileService::ReplyText(call, "?"); });

    m_hostile.m_answerList = [](sd_bus_message* call) {
        return HostileService::ReplyText(call, "Radio\tradio\n");
    };

    EXPECT_TRUE(Shows("Radio/radio ()", kAfterLoss));
}

TEST_P(AHostileService, DoesNoHarmWithNotificationsThatAreNone) {
    AnswerAfterAGoodList(
        [](sd_bus_message* call) { return HostileService::ReplyText(call, "Maps\tmaps\n"); });
    const std::size_t reads = m_hostile.CountOf("Message");

    for (const std::string& body : {std::string(), std::string("abc"),
                                    std::string("\xff\xff\xff\xff"), std::string(100000, 'x')}) {
        m_hostile.Notify(body);
    }
    WaitForAComparison();

    ExpectTheLastGoodReplica();
    EXPECT_EQ(reads, m_hostile.CountOf("Message")) << "read the list for nothing";
}

// At rest a partner asks for the count of notifications every three seconds, and for nothing else.
TEST_P(AHostileService, HearsNothingButTheRareComparisonWhileNothingHappens) {
    StartPartner();
    ASSERT_TRUE(RunUntil([&] { return m_model->IsServiceThere(); }));
    ASSERT_TRUE(RunUntil([&] { return m_hostile.CountOf("Message") == 2; }));
    ASSERT_TRUE(RunUntil([&] { return m_hostile.CountOf("Connect") == 1; }));
    m_hostile.m_calls.clear();
    const auto start = std::chrono::steady_clock::now();

    ASSERT_TRUE(RunUntil([&] { return !m_hostile.m_calls.empty(); }));

    EXPECT_EQ(Strings{"Get"}, m_hostile.m_calls);
    EXPECT_GT(std::chrono::steady_clock::now() - start, milliseconds(2500));
}

// The bus drops signals to a slow reader and tells nobody; a lost tail leaves no gap to notice.
TEST_P(AHostileService, IsReadAnewAfterAnEventThatTheBusLost) {
    AnswerAfterAGoodList(
        [](sd_bus_message* call) { return HostileService::ReplyText(call, "Maps\tmaps\n"); });

    m_hostile.m_answerList = [](sd_bus_message* call) {
        return HostileService::ReplyText(call, "Radio\tradio\n");
    };
    m_hostile.NotifyInVain();

    EXPECT_TRUE(Shows("Radio/radio ()", kAfterLoss));
    EXPECT_EQ(Strings{"changed"}, m_witness->Take());
}

// The service counts what it tells everyone.
TEST_P(AHostileService, IsNotThoughtToHaveLostANotificationBecauseOneWasForOnePartner) {
    BareRemote remote;
    ASSERT_TRUE(RunUntil([&] { return remote.m_isReady; }));
    int heard = 0;
    remote.m_onNotification = [&] { ++heard; };

    m_hostile.NotifyOnly(m_hostile.m_lastCaller, std::string("\1\0\0\0", 4));
    WaitForAComparison();
    remote.Ask();
    ASSERT_TRUE(RunUntil([&] { return !remote.m_outcomes.empty(); }));

    EXPECT_EQ(2, heard) << "with the announcement";
    EXPECT_EQ(1, remote.m_readies);
}

// So it does with answers; a service that stands answers when it goes on.
TEST_P(AHostileService, IsComparedAgainWhenTheBusLostTheAnswerAndAnEventComes) {
    const HostileService::Answer truth = m_hostile.m_answerSerial;
    BareRemote remote;
    ASSERT_TRUE(RunUntil([&] { return remote.m_readies == 1; }));
    m_hostile.m_answerSerial = [](sd_bus_message*) { return 0; };
    m_hostile.m_calls.clear();
    m_hostile.Announce();
    ASSERT_TRUE(RunUntil([&] { return m_hostile.CountOf("Get") == 1; }));
    m_hostile.NotifyInVain();
    m_hostile.m_answerSerial = truth;
    const auto start = std::chrono::steady_clock::now();

    m_hostile.Announce();

    EXPECT_TRUE(RunUntil([&] { return remote.m_readies == 2; }));
    EXPECT_LT(std::chrono::steady_clock::now() - start, kAfterLoss);
}

TEST_P(AHostileService, HearsThePartnersNotifications) {
    BareRemote remote;
    ASSERT_TRUE(RunUntil([&] { return remote.m_isReady; }));
    std::vector<char> body{1, 0, 0, 0};

    remote.SendNotification(body);
    remote.SendNotification(body, "anyone");

    EXPECT_TRUE(RunUntil([&] { return m_hostile.CountOf("Notify") == 2; }));
}

// ---- Destruction from inside --------------------------------------------------------------------

TEST_P(AHostileService, MayHaveItsPartnersTransportDestroyedByAReply) {
    auto remote = std::make_unique<BareRemote>();
    std::vector<char> request(4);
    bool isOver = false;
    remote->PostMessage(request, [&](RemoteReply&) {
        remote.reset();
        isOver = true;
    });

    EXPECT_TRUE(RunUntil([&] { return isOver; }));
    RunWhatIsReady();
}

class ABusThatNeverAnswersAgain : public AHostileService {};

INSTANTIATE_TEST_SUITE_P(OnOneBus, ABusThatNeverAnswersAgain,
                         ::testing::Values(BusVariety{BusProgram::Daemon, BusLimits::BuiltIn}),
                         [](const auto& test) { return NameOf(test.param); });

// A connection that came back but serves no purpose is given up after ten seconds. What waited for
// it is told then, and may be the end of the transport.
TEST_P(ABusThatNeverAnswersAgain, MayHaveThePartnersTransportDestroyedWhenItIsGivenUp) {
    auto remote = std::make_unique<BareRemote>();
    ASSERT_TRUE(RunUntil([&] { return remote->m_isReady; }));
    m_bus->Kill();
    SilentBus silent(m_bus->Address().substr(std::strlen("unix:path=")));
    ASSERT_TRUE(RunUntil([&] { return silent.HasVisitor(); }));
    std::vector<char> request(4);
    std::string cause;
    remote->PostMessage(request, [&](RemoteReply& reply) {
        cause = reply.error ? NameOf(reply.error->GetCause()) : "none";
        remote.reset();
    });

    EXPECT_TRUE(RunUntil([&] { return !remote; }));
    EXPECT_EQ("NoService", cause);
}
