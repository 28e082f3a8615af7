// SPDX-License-Identifier: MIT

// A partner and the direct channel that its service gives, or does not give: when it is used, what
// becomes of the calls under way when it begins and ends, and what a hostile one can do.

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "bus/BusNames.h"
#include "partner/bus/BareRemote.h"
#include "partner/bus/HostileService.h"
#include "partner/bus/PartnerBusTest.h"
#include "support/BusClient.h"
#include "support/Forger.h"
#include "support/ProcessState.h"
#include "support/TestFd.h"

using applist::UniqueMessage;

namespace {

const char kNoChannel[] = "no direct channel";

bool IsOverBus(sd_bus_message* call) {
    return sd_bus_message_get_sender(call) != nullptr;
}

int ReplyEmpty(sd_bus_message* call) {
    return sd_bus_reply_method_return(call, "");
}

std::vector<char> Writing(int number) {
    const std::string text = std::to_string(number);
    std::vector<char> body(text.begin(), text.end());
    body.resize(body.size() + 4);  // the number of no function
    return body;
}

std::string Written(int number) {
    return std::to_string(number) + std::string(4, '\0');
}

// A call that the bus library answers, as it lies on the wire.
std::string Ping() {
    std::string bytes("l\1\0\1\0\0\0\0\1\0\0\0", 12);
    std::string fields;
    const auto add = [&fields](char code, char type, const std::string& value) {
        fields.resize((fields.size() + 7) / 8 * 8);
        fields += std::string{code, 1, type, 0, static_cast<char>(value.size()), 0, 0, 0} + value;
        fields += '\0';
    };
    add(1, 'o', "/");
    add(2, 's', "org.freedesktop.DBus.Peer");
    add(3, 's', "Ping");
    bytes += std::string{static_cast<char>(fields.size()), 0, 0, 0} + fields;
    bytes.resize((bytes.size() + 7) / 8 * 8);
    return bytes;
}

}  // namespace

class AChannel : public PartnerBusTest {
protected:
    AChannel() : m_service(m_bus->Address()) { m_service.GiveChannels(); }

    // Returns when the service has been asked for its count over the channel: the first thing that
    // a partner does when it has taken one.
    bool IsTaken() {
        return RunUntil([this] { return CountIn(m_service.m_overChannel, "Get") > 0; });
    }

    // A partner over a channel, about which it has been told everything.
    std::unique_ptr<BareRemote> PartnerOverChannel() {
        auto remote = std::make_unique<BareRemote>();
        EXPECT_TRUE(IsTaken());
        RunWhatIsReady();
        EXPECT_TRUE(remote->m_isReady);
        m_service.m_overBus.clear();
        m_service.m_overChannel.clear();
        return remote;
    }

    // A partner that gets no channel shows the list over the bus, and has connected once.
    void ExpectTheBus() {
        m_service.m_answerList = [](sd_bus_message* call) {
            return HostileService::ReplyText(call, "Maps\tmaps\n");
        };
        StartPartner();
        EXPECT_TRUE(Shows("Maps/maps ()", kBack));
        EXPECT_TRUE(RunUntil([this] { return CountIn(m_service.m_overBus, "Connect") > 0; }));
        AwaitARead();

        EXPECT_EQ(1u, CountIn(m_service.m_overBus, "Channel"));
        EXPECT_EQ(1u, CountIn(m_service.m_overBus, "Connect"));
        EXPECT_EQ(0u, CountIn(m_service.m_overChannel, "Message"));
        EXPECT_EQ("", WholeLog());
    }

    // Returns when the partner has handled all that it was sent before.
    void AwaitARead() {
        m_service.TellOfChange();
        const std::size_t reads = m_service.CountOf("Message");
        EXPECT_TRUE(RunUntil([&] { return m_service.CountOf("Message") > reads; }));
        RunWhatIsReady();
    }

    void ExpectTheBusAfter(const HostileService::Answer& answer) {
        m_service.m_answerChannel = answer;
        ExpectTheBus();
        EXPECT_EQ(1u, NewsLogged(kNoChannel));
    }

    // As before, when the other end of the channel is `socket`.
    void ExpectTheBusWith(const TestFd& socket) {
        ExpectTheBusAfter([&](sd_bus_message* call) {
            return sd_bus_reply_method_return(call, "h", socket.Get());
        });
    }

    // The channel is not confirmed before m_connect is answered.
    void HoldConnect() {
        m_service.m_answerConnect = [this](sd_bus_message* call) {
            m_connect.reset(sd_bus_message_ref(call));
            return 0;
        };
    }

    static std::size_t CountIn(const Strings& calls, const std::string& member) {
        return static_cast<std::size_t>(std::count(calls.begin(), calls.end(), member));
    }

    HostileService m_service;
    UniqueMessage m_connect;
};

ON_BOTH_BUSES(AChannel);

// ---- Beginning ----------------------------------------------------------------------------------

TEST_P(AChannel, IsNotWaitedForToReadTheFirstList) {
    HoldConnect();
    m_service.m_answerList = [](sd_bus_message* call) {
        return HostileService::ReplyText(call, "Maps\tmaps\n");
    };
    StartPartner();
    ASSERT_TRUE(Shows("Maps/maps ()", kBack));
    ASSERT_TRUE(RunUntil([&] { return m_connect != nullptr; }));
    EXPECT_EQ(Strings{"Connect"}, m_service.m_overChannel);

    ReplyEmpty(m_connect.get());
    ASSERT_TRUE(IsTaken());
    m_service.m_answerList = [](sd_bus_message* call) {
        return HostileService::ReplyText(call, "Radio\tradio\n");
    };
    m_service.TellOfChange();

    EXPECT_TRUE(Shows("Radio/radio ()", kBack));
    EXPECT_LT(0u, CountIn(m_service.m_overChannel, "Message"));
    EXPECT_EQ(0u, CountIn(m_service.m_overBus, "Connect"));
}

// Nor does it wait for the first answer without end.
TEST_P(AChannel, IsTakenAlsoWhenTheFirstQuestionIsNeverAnswered) {
    const HostileService::Answer answer = m_service.m_answerSerial;
    bool wasAsked = false;
    m_service.m_answerSerial = [&](sd_bus_message* call) {
        return std::exchange(wasAsked, true) ? answer(call) : 0;
    };
    BareRemote remote;

    EXPECT_TRUE(IsTaken());
    EXPECT_TRUE(RunUntil([&] { return remote.m_isReady; }));
}

TEST_P(AChannel, KeepsTheOrderOfAThousandWritesAndRepeatsNone) {
    HoldConnect();
    BareRemote remote;
    for (int number = 0; number < 100; ++number) remote.Ask(Writing(number));
    ASSERT_TRUE(RunUntil([&] { return m_connect != nullptr; }));
    for (int number = 100; number < 1000; ++number) remote.Ask(Writing(number));
    // In the middle of them the channel is confirmed.
    ASSERT_TRUE(RunUntil([&] { return m_service.m_written.size() > 300; }));
    const std::size_t overBus = CountIn(m_service.m_overBus, "Message");
    ReplyEmpty(m_connect.get());
    ASSERT_TRUE(RunUntil([&] { return remote.m_outcomes.size() == 1000; }));

    Strings expected;
    for (int number = 0; number < 1000; ++number) expected.push_back(Written(number));
    EXPECT_EQ(expected, m_service.m_written);
    EXPECT_EQ(Strings(1000, ""), remote.m_outcomes);
    EXPECT_LT(overBus, 1000u);
    EXPECT_LT(500u, CountIn(m_service.m_overChannel, "Message"));
}

TEST_P(AChannel, IsNotTakenWhileACallOverTheBusIsUnderWay) {
    UniqueMessage first;
    m_service.m_answerWrite = [&](sd_bus_message* call) {
        if (first) return HostileService::ReplyText(call, "");
        first.reset(sd_bus_message_ref(call));
        return 0;
    };
    HoldConnect();
    BareRemote remote;
    ASSERT_TRUE(RunUntil([&] { return m_connect != nullptr; }));
    remote.Ask(Writing(0));
    ASSERT_TRUE(RunUntil([&] { return first != nullptr; }));
    ReplyEmpty(m_connect.get());
    // It asks for the count twice: at the beginning, and once the channel could be taken. From that
    // answer on, calls wait.
    ASSERT_TRUE(RunUntil([&] { return CountIn(m_service.m_overBus, "Get") == 2; }));
    m_bus->WaitUntilIdle();
    RunWhatIsReady();
    remote.Ask(Writing(1));
    RunWhatIsReady();
    EXPECT_EQ(Strings{Written(0)}, m_service.m_written);

    HostileService::ReplyText(first.get(), "");
    ASSERT_TRUE(RunUntil([&] { return remote.m_outcomes.size() == 2; }));

    EXPECT_EQ((Strings{Written(0), Written(1)}), m_service.m_written);
    EXPECT_EQ(1u, CountIn(m_service.m_overChannel, "Message"));
}

// It may be executed any time, and must not come after the calls that follow it.
TEST_P(AChannel, IsNotTakenAfterACallOverTheBusThatWasNotAnswered) {
    m_service.m_answerWrite = [](sd_bus_message*) { return 0; };
    HoldConnect();
    BareRemote remote;
    ASSERT_TRUE(RunUntil([&] { return m_connect != nullptr; }));
    remote.SetTimeout(milliseconds(200));
    remote.Ask(Writing(0));
    ASSERT_TRUE(RunUntil([&] { return m_service.m_written.size() == 1; }));
    ReplyEmpty(m_connect.get());
    remote.Ask(Writing(1));

    ASSERT_TRUE(RunUntil([&] { return CountIn(m_service.m_overBus, "Message") == 2; }));

    EXPECT_EQ(0u, CountIn(m_service.m_overChannel, "Message"));
    EXPECT_TRUE(RunUntil([&] { return CountIn(m_service.m_overBus, "Connect") == 1; }));
}

TEST_P(AChannel, IsNotTakenAfterANotificationOverTheBus) {
    UniqueMessage connect;
    m_service.m_answerConnect = [&](sd_bus_message* call) {
        if (IsOverBus(call)) return ReplyEmpty(call);
        connect.reset(sd_bus_message_ref(call));
        return 0;
    };
    BareRemote remote;
    ASSERT_TRUE(RunUntil([&] { return remote.m_isReady && connect; }));
    std::vector<char> body{1, 0, 0, 0};
    remote.SendNotification(body);

    ReplyEmpty(connect.get());

    EXPECT_TRUE(RunUntil([&] { return CountIn(m_service.m_overBus, "Connect") == 1; }));
    remote.SendNotification(body);
    EXPECT_TRUE(RunUntil([&] { return CountIn(m_service.m_overBus, "Notify") == 2; }));
}

// To read the list once more would cost as much as all that a channel saves at the beginning.
TEST_P(AChannel, LeadsToNoSecondReadOfWhatWasReadOverTheBus) {
    HoldConnect();
    BareRemote remote;
    ASSERT_TRUE(RunUntil([&] { return remote.m_isReady && m_connect; }));

    ReplyEmpty(m_connect.get());
    ASSERT_TRUE(IsTaken());
    remote.Ask();  // answered after the count
    ASSERT_TRUE(RunUntil([&] { return remote.m_outcomes.size() == 1; }));

    EXPECT_EQ(1, remote.m_readies);
}

TEST_P(AChannel, LeadsToAReadOfWhatTheBusHadLostBefore) {
    HoldConnect();
    BareRemote remote;
    ASSERT_TRUE(RunUntil([&] { return remote.m_isReady && m_connect; }));
    m_service.NotifyInVain();

    ReplyEmpty(m_connect.get());

    EXPECT_TRUE(RunUntil([&] { return remote.m_readies == 2; }));
}

// The service sends them to the channel from its confirmation on, and to everyone on the bus.
TEST_P(AChannel, TellsEachNotificationOnceAlsoWhileItIsTaken) {
    UniqueMessage write;
    m_service.m_answerWrite = [&](sd_bus_message* call) {
        write.reset(sd_bus_message_ref(call));
        return 0;
    };
    HoldConnect();
    BareRemote remote;
    int heard = 0;
    remote.m_onNotification = [&] { ++heard; };
    ASSERT_TRUE(RunUntil([&] { return m_connect != nullptr; }));
    remote.Ask(Writing(0));
    ASSERT_TRUE(RunUntil([&] { return write != nullptr; }));
    ReplyEmpty(m_connect.get());
    ASSERT_TRUE(RunUntil([&] { return remote.m_isReady; }));
    RunWhatIsReady();
    const auto notifyBothWays = [this] {
        m_service.Notify(std::string("\1\0\0\0", 4));
        m_service.NotifyOverBus(std::string("\1\0\0\0", 4));
    };
    notifyBothWays();
    notifyBothWays();
    ASSERT_TRUE(RunUntil([&] { return heard == 2; }));
    const HostileService::Answer truth = m_service.m_answerSerial;
    m_service.m_answerSerial = [&](sd_bus_message* call) {
        const int result = truth(call);
        if (IsOverBus(call)) notifyBothWays();
        return result;
    };

    HostileService::ReplyText(write.get(), "");
    ASSERT_TRUE(IsTaken());
    remote.Ask();  // answered behind whatever was sent to the channel before
    ASSERT_TRUE(RunUntil([&] { return remote.m_outcomes.size() == 2; }));
    m_bus->WaitUntilIdle();
    RunWhatIsReady();

    EXPECT_EQ(3, heard);
}

TEST_P(AChannel, IsAskedForAnewFromTheNextService) {
    const auto remote = PartnerOverChannel();

    HostileService next(m_bus->Address());
    next.GiveChannels();

    EXPECT_TRUE(RunUntil([&] { return CountIn(next.m_overChannel, "Get") > 0; }));
}

TEST_P(AChannel, IsNotAskedForWhenTheEnvironmentForbidsIt) {
    ASSERT_EQ(0, setenv("APPLIST_DIRECT", "0", 1));
    BareRemote remote;
    remote.Ask();
    EXPECT_TRUE(RunUntil([&] { return remote.m_isReady && !remote.m_outcomes.empty(); }));
    ASSERT_EQ(0, unsetenv("APPLIST_DIRECT"));

    EXPECT_EQ(0u, m_service.CountOf("Channel"));
    EXPECT_EQ(1u, m_service.CountOf("Connect"));
}

// A partner that has no place yet can do everything but be told alone.
TEST_P(AChannel, IsTakenAlsoWithoutAPlaceAndAskedForOneAgainOverIt) {
    m_service.m_answerConnect = [](sd_bus_message* call) {
        return sd_bus_reply_method_errorf(call, SD_BUS_ERROR_LIMITS_EXCEEDED, "full");
    };
    BareRemote remote;

    EXPECT_TRUE(IsTaken());
    EXPECT_TRUE(RunUntil([&] { return CountIn(m_service.m_overChannel, "Connect") == 2; }));
    EXPECT_EQ(0u, CountIn(m_service.m_overBus, "Connect"));
    EXPECT_TRUE(remote.m_isReady);
}

// ---- None ---------------------------------------------------------------------------------------

TEST_P(AChannel, IsDoneWithoutWhenTheServiceIsOlder) {
    m_service.m_answerChannel = [](sd_bus_message* call) {
        return sd_bus_reply_method_errorf(call, SD_BUS_ERROR_UNKNOWN_METHOD, "no");
    };
    ExpectTheBus();
    EXPECT_EQ(0u, NewsLogged(kNoChannel)) << "nothing that an operator should know";
}

TEST_P(AChannel, IsDoneWithoutWhenTheServiceHasNone) {
    ExpectTheBusAfter([](sd_bus_message* call) {
        return sd_bus_reply_method_errorf(call, SD_BUS_ERROR_LIMITS_EXCEEDED, "64 are given");
    });
}

TEST_P(AChannel, IsDoneWithoutWhenItIsForbidden) {
    ExpectTheBusAfter([](sd_bus_message* call) {
        return sd_bus_reply_method_errorf(call, SD_BUS_ERROR_ACCESS_DENIED, "no");
    });
}

TEST_P(AChannel, IsDoneWithoutWhenNothingComes) {
    ExpectTheBusAfter(ReplyEmpty);
}

TEST_P(AChannel, IsDoneWithoutWhenTextComes) {
    ExpectTheBusAfter(
        [](sd_bus_message* call) { return sd_bus_reply_method_return(call, "s", "channel"); });
}

TEST_P(AChannel, IsDoneWithoutWhenAMemfdComes) {
    ExpectTheBusWith(MemfdOf("channel"));
}

TEST_P(AChannel, IsDoneWithoutWhenAPipeComes) {
    int ends[2];
    ASSERT_EQ(0, pipe2(ends, O_CLOEXEC));
    const TestFd in(ends[0]);
    const TestFd out(ends[1]);
    ExpectTheBusWith(in);
}

TEST_P(AChannel, IsDoneWithoutWhenNothingSpeaksAtItsOtherEnd) {
    int ends[2];
    ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends));
    const TestFd theirs(ends[0]);
    const TestFd given(ends[1]);
    ExpectTheBusWith(given);
}

TEST_P(AChannel, IsDoneWithoutWhenGarbageSpeaksAtItsOtherEnd) {
    int ends[2];
    ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends));
    const TestFd theirs(ends[0]);
    const TestFd given(ends[1]);
    const std::string garbage(4096, '\xff');
    ASSERT_EQ(4096, write(theirs.Get(), garbage.data(), garbage.size()));
    ExpectTheBusWith(given);
}

TEST_P(AChannel, IsDoneWithoutWhenItsOtherEndIsClosed) {
    int ends[2];
    ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends));
    close(ends[0]);
    const TestFd given(ends[1]);
    ExpectTheBusWith(given);
}

TEST_P(AChannel, IsDoneWithoutWhenTheServiceDoesNotAnswer) {
    ExpectTheBusAfter([](sd_bus_message*) { return 0; });
}

TEST_P(AChannel, IsDoneWithoutWhenItComesTooLate) {
    UniqueMessage asked;
    ExpectTheBusAfter([&](sd_bus_message* call) {
        asked.reset(sd_bus_message_ref(call));
        return 0;
    });
    const ProcessState before = ProcessState::Now();
    m_service.GiveChannel(asked.get());
    m_service.Flush();
    m_service.CutChannel();
    AwaitARead();

    EXPECT_EQ(before, ProcessState::Now()) << "its descriptor is closed";
    EXPECT_EQ(0u, m_service.m_overChannel.size());
}

TEST_P(AChannel, IsDoneWithoutWhenItsConnectIsNotAnswered) {
    m_service.m_answerConnect = [](sd_bus_message* call) {
        return IsOverBus(call) ? ReplyEmpty(call) : 0;
    };
    ExpectTheBus();
    EXPECT_EQ(1u, NewsLogged(kNoChannel));
}

TEST_P(AChannel, IsDoneWithoutWhenItsConnectIsRefused) {
    m_service.m_answerConnect = [](sd_bus_message* call) {
        return IsOverBus(call) ? ReplyEmpty(call)
                               : sd_bus_reply_method_errorf(call, SD_BUS_ERROR_ACCESS_DENIED, "no");
    };
    ExpectTheBus();
    EXPECT_EQ(1u, NewsLogged(kNoChannel));
}

// ---- In use -------------------------------------------------------------------------------------

TEST_P(AChannel, CarriesEverythingOnceItIsTaken) {
    const auto remote = PartnerOverChannel();
    int heard = 0;
    remote->m_onNotification = [&] { ++heard; };
    std::vector<char> body{1, 0, 0, 0};

    remote->Ask();
    remote->SendNotification(body);
    m_service.TellOfChange();
    ASSERT_TRUE(RunUntil([&] {
        return heard == 1 && remote->m_outcomes.size() == 1 &&
               CountIn(m_service.m_overChannel, "Notify") == 1;
    }));

    EXPECT_EQ(Strings{}, m_service.m_overBus);
}

TEST_P(AChannel, CarriesALargeReplyInADescriptor) {
    const std::string large(std::size_t{1} << 20, 'x');
    m_service.m_answerList = [&](sd_bus_message* call) {
        return HostileService::ReplyText(call, large);
    };
    const auto remote = PartnerOverChannel();
    for (int count = 0; count < 2; ++count) {
        remote->Ask();
        ASSERT_TRUE(RunUntil([&] { return remote->m_outcomes.size() > std::size_t(count); }));
    }

    EXPECT_EQ((Strings{large, large}), remote->m_outcomes);
    EXPECT_EQ((Strings{"Message", "MessageFd"}), m_service.m_overChannel);
}

TEST_P(AChannel, LeavesNoEarToTheServiceOnTheBus) {
    const auto remote = PartnerOverChannel();
    int heard = 0;
    remote->m_onNotification = [&] { ++heard; };

    m_service.NotifyOverBus(std::string("\1\0\0\0", 4));
    m_service.Flush();
    m_bus->WaitUntilIdle();
    remote->Ask();
    ASSERT_TRUE(RunUntil([&] { return !remote->m_outcomes.empty(); }));
    RunWhatIsReady();

    EXPECT_EQ(0, heard);
}

TEST_P(AChannel, CostsNothingWhileNothingHappens) {
    const auto remote = PartnerOverChannel();

    EXPECT_TRUE(RunUntilNoTimerIsSet());
    EXPECT_EQ(Strings{}, m_service.m_overBus);
    EXPECT_EQ(Strings{}, m_service.m_overChannel);
}

TEST_P(AChannel, IsNotComparedAfterABurst) {
    const auto remote = PartnerOverChannel();
    int heard = 0;
    remote->m_onNotification = [&] { ++heard; };
    for (int count = 0; count < 100; ++count) m_service.TellOfChange();
    ASSERT_TRUE(RunUntil([&] { return heard == 100; }));

    EXPECT_TRUE(RunUntilNoTimerIsSet());
    EXPECT_EQ(Strings{}, m_service.m_overChannel);
}

TEST_P(AChannel, IsReadAnewWhenTheServiceHadToDropSomething) {
    const auto remote = PartnerOverChannel();
    const int before = remote->m_readies;

    m_service.SayLost();

    EXPECT_TRUE(RunUntil([&] { return remote->m_readies == before + 1; }));
    EXPECT_EQ(Strings{"Get"}, m_service.m_overChannel);
}

TEST_P(AChannel, IsNotNeededToHearThatTheServiceHadToDropSomething) {
    m_service.m_answerChannel = ReplyEmpty;
    BareRemote remote;
    ASSERT_TRUE(RunUntil([&] { return remote.m_readies == 1; }));

    m_service.SayLost();

    EXPECT_TRUE(RunUntil([&] { return remote.m_readies == 2; }));
}

TEST_P(AChannel, LetsACallTimeOutAndIsUsableAgainAfterASilence) {
    const auto remote = PartnerOverChannel();
    const int before = remote->m_readies;
    m_service.m_answerWrite = [](sd_bus_message*) { return 0; };
    remote->SetTimeout(milliseconds(100));

    remote->Ask(Writing(1));

    EXPECT_TRUE(RunUntil([&] { return remote->m_readies == before + 1; }));
    EXPECT_EQ(Strings{"TimedOut"}, remote->m_outcomes);
    EXPECT_EQ(Strings{}, m_service.m_overBus);
}

// ---- The end ------------------------------------------------------------------------------------

TEST_P(AChannel, EndsWithAnUnknownOutcomeForWhatIsUnderWayAndTheRestGoesOverTheBus) {
    const auto remote = PartnerOverChannel();
    const int before = remote->m_readies;
    m_service.m_answerWrite = [](sd_bus_message* call) {
        return IsOverBus(call) ? HostileService::ReplyText(call, "over the bus") : 0;
    };
    for (int number = 0; number < 100; ++number) remote->Ask(Writing(number));
    ASSERT_TRUE(RunUntil([&] { return CountIn(m_service.m_overChannel, "Message") == 62; }));

    m_service.CutChannel();
    ASSERT_TRUE(RunUntil([&] { return remote->m_outcomes.size() == 100; }));

    Strings expected(62, "OutcomeUnknown");
    expected.insert(expected.end(), 38, "over the bus");
    EXPECT_EQ(expected, remote->m_outcomes);
    EXPECT_EQ(100u, m_service.m_written.size()) << "each once";
    EXPECT_EQ(1u, CountIn(m_service.m_overBus, "Connect"));
    EXPECT_TRUE(RunUntil([&] { return remote->m_readies == before + 1; })) << "read anew";
    EXPECT_EQ(0u, CountIn(m_service.m_overBus, "Channel")) << "asked for a second one";
    EXPECT_EQ(1u, NewsLogged(kNoChannel));
}

TEST_P(AChannel, IsFollowedByTheBusWithItsNotifications) {
    StartPartner();
    ASSERT_TRUE(IsTaken());
    m_service.CutChannel();
    ASSERT_TRUE(RunUntil([&] { return CountIn(m_service.m_overBus, "Connect") == 1; }));
    m_service.m_answerList = [](sd_bus_message* call) {
        return HostileService::ReplyText(call, "Maps\tmaps\n");
    };

    m_service.TellOfChange();

    EXPECT_TRUE(Shows("Maps/maps ()", kBack));
    EXPECT_EQ((Strings{"there", "changed"}), m_witness->Take()) << "never gone";
}

// What has arrived counts, although the bus has said before that the service is gone.
TEST_P(AChannel, IsReadToItsEndWhenTheServiceLeaves) {
    auto service = std::make_unique<HostileService>(m_bus->Address());
    service->GiveChannels();
    std::vector<UniqueMessage> calls;
    service->m_answerWrite = [&](sd_bus_message* call) {
        calls.emplace_back(sd_bus_message_ref(call));
        return 0;
    };
    BareRemote remote;
    ASSERT_TRUE(RunUntil([&] { return CountIn(service->m_overChannel, "Get") == 1; }));
    for (int number = 0; number < 3; ++number) remote.Ask(Writing(number));
    ASSERT_TRUE(RunUntil([&] { return calls.size() == 3; }));

    HostileService::ReplyText(calls[0].get(), "first");
    HostileService::ReplyText(calls[1].get(), "second");
    calls.clear();
    service->LeaveChannel();
    service.reset();
    ASSERT_TRUE(RunUntil([&] { return remote.m_outcomes.size() == 3; }));

    EXPECT_EQ((Strings{"first", "second", "OutcomeUnknown"}), remote.m_outcomes);
    EXPECT_TRUE(RunUntil([&] { return !remote.m_isReady; }));
}

// The event leads to a call before the reply is read.
TEST_P(AChannel, IsReadToItsEndBeforeAnythingIsWrittenToIt) {
    const auto remote = PartnerOverChannel();
    UniqueMessage write;
    m_service.m_answerWrite = [&](sd_bus_message* call) {
        if (IsOverBus(call)) return HostileService::ReplyText(call, "over the bus");
        write.reset(sd_bus_message_ref(call));
        return 0;
    };
    remote->Ask(Writing(0));
    ASSERT_TRUE(RunUntil([&] { return write != nullptr; }));
    remote->m_onNotification = [&] { remote->Ask(Writing(1)); };

    m_service.TellOfChange();
    HostileService::ReplyText(write.get(), "over the channel");
    m_service.LeaveChannel();
    m_service.CutChannel();
    ASSERT_TRUE(RunUntil([&] { return remote->m_outcomes.size() == 2; }));

    EXPECT_EQ((Strings{"over the channel", "over the bus"}), remote->m_outcomes);
}

TEST_P(AChannel, EndsWithTheBus) {
    const auto remote = PartnerOverChannel();
    m_service.m_answerWrite = [](sd_bus_message*) { return 0; };
    remote->Ask(Writing(0));
    ASSERT_TRUE(RunUntil([&] { return CountIn(m_service.m_overChannel, "Message") == 1; }));

    m_bus->Kill();

    EXPECT_TRUE(RunUntil([&] { return !remote->m_isReady; }));
    EXPECT_EQ(Strings{"OutcomeUnknown"}, remote->m_outcomes);
    EXPECT_TRUE(RunUntil([&] { return sd_bus_is_open(m_service.Channel()) <= 0; }));
}

TEST_P(AChannel, MayHaveItsPartnerDestroyedByAReplyOverIt) {
    auto remote = PartnerOverChannel();
    remote->PostMessage(Writing(0), [&](applist::RemoteReply&) { remote.reset(); });

    EXPECT_TRUE(RunUntil([&] { return !remote; }));
    RunWhatIsReady();
    EXPECT_TRUE(RunUntil([&] { return sd_bus_is_open(m_service.Channel()) <= 0; }));
}

TEST_P(AChannel, MayHaveItsPartnerDestroyedByItsEnd) {
    auto remote = PartnerOverChannel();
    m_service.m_answerWrite = [](sd_bus_message*) { return 0; };
    remote->PostMessage(Writing(0), [&](applist::RemoteReply&) { remote.reset(); });
    ASSERT_TRUE(RunUntil([&] { return CountIn(m_service.m_overChannel, "Message") == 1; }));

    m_service.CutChannel();

    EXPECT_TRUE(RunUntil([&] { return !remote; }));
    RunWhatIsReady();
}

// ---- A hostile other end ------------------------------------------------------------------------

TEST_P(AChannel, EndsWhenSomethingElseThanMessagesComes) {
    const auto remote = PartnerOverChannel();
    const std::string garbage(4096, '\xff');
    ASSERT_EQ(4096, write(sd_bus_get_fd(m_service.Channel()), garbage.data(), garbage.size()));

    EXPECT_TRUE(RunUntil([&] { return CountIn(m_service.m_overBus, "Connect") == 1; }));
    remote->Ask();
    EXPECT_TRUE(RunUntil([&] { return remote->m_outcomes == Strings{""}; }));
}

TEST_P(AChannel, IgnoresRepliesToCallsThatWereNeverMade) {
    const auto remote = PartnerOverChannel();
    remote->Ask();
    UniqueMessage call;
    m_service.m_answerList = [&](sd_bus_message* asked) {
        call.reset(sd_bus_message_ref(asked));
        return HostileService::ReplyText(asked, "first");
    };
    ASSERT_TRUE(RunUntil([&] { return remote->m_outcomes.size() == 1; }));

    for (int count = 0; count < 10; ++count) HostileService::ReplyText(call.get(), "again");
    remote->Ask();
    ASSERT_TRUE(RunUntil([&] { return remote->m_outcomes.size() == 2; }));

    EXPECT_EQ((Strings{"first", "first"}), remote->m_outcomes);
}

// The bus library answers such calls by itself.
TEST_P(AChannel, EndsWhenItsOtherEndCallsAndReadsNoAnswers) {
    const auto remote = PartnerOverChannel();
    m_service.IgnoreChannel();
    const int socket = sd_bus_get_fd(m_service.Channel());
    const std::string ping = Ping();

    EXPECT_TRUE(RunUntil([&] {
        send(socket, ping.data(), ping.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
        return NewsLogged("does not read") == 1;
    }));

    EXPECT_TRUE(RunUntil([&] { return CountIn(m_service.m_overBus, "Connect") == 1; }));
}
