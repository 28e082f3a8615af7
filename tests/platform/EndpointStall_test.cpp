// A bus that does not drain, or a partner's channel that is not read. Every socket of the process
// gets the smallest send buffer there is, so that little clogs it, and as little with root's rights
// as without.

#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>

#include "bus/TransportLimits.h"
#include "support/CapturedLog.h"
#include "support/EndpointTest.h"
#include "support/HeapInUse.h"

namespace {

constexpr std::size_t kMegabyte = std::size_t{1} << 20;
constexpr int kSmallest = 1;  // the kernel knows how small a buffer may be

void WidenSendBuffer(int socket) {
    const int size = kMegabyte;  // or as much of that as the kernel allows
    setsockopt(socket, SOL_SOCKET, SO_SNDBUF, &size, sizeof(size));
}

std::string Filler(int number, std::size_t size = 4096) {
    std::string body = "filler " + std::to_string(number);
    body.resize(size, '.');
    return body;
}

}  // namespace

class AnEndpointOnABusThatStands : public EndpointTest {
protected:
    AnEndpointOnABusThatStands() {
        m_client->Subscribe();
        m_client->m_arrivals.clear();
        SetSendBuffers(kSmallest);
    }

    // Keeps the endpoint from sending, and not: makes the bus stand, or the clients not read their
    // channels.
    void Stand() {
        if (!GetParam().withChannels) return m_bus.Stop();
        m_client->StopReading();
        for (const std::unique_ptr<BusClient>& client : m_others) client->StopReading();
    }
    void RunOn() {
        if (!GetParam().withChannels) return m_bus.Continue();
        m_client->ReadAgain();
        for (const std::unique_ptr<BusClient>& client : m_others) client->ReadAgain();
    }

    // The same while the endpoint ends, when nobody runs the loop.
    void RunOnAside() {
        if (!GetParam().withChannels) return m_bus.Continue();
        m_client->ReadAside();
    }

    // Makes it stand, and sends until notifications wait in the endpoint; it drops some of these.
    void Stall() {
        Stand();
        for (int number = 0; number < 200; ++number) m_endpoint->Tell(Filler(number));
    }

    // Sends 0 to `count` - 1.
    void TellNumbers(int count) {
        for (int number = 0; number < count; ++number) m_endpoint->Tell(std::to_string(number));
    }

    // Lets it run on, and returns what then came in but for the fillers.
    Strings ArrivalsOnceItRuns() {
        RunOn();
        m_client->Message("the end");
        Strings arrivals = ArrivalsButFillers();
        if (!arrivals.empty()) arrivals.pop_back();
        return arrivals;
    }

    Strings ArrivalsButFillers() const {
        Strings arrivals;
        for (const std::string& arrival : m_client->m_arrivals) {
            if (arrival.find("filler") == std::string::npos) arrivals.push_back(arrival);
        }
        return arrivals;
    }

    // What comes in when these are all that was kept.
    static Strings WithLoss(Strings kept) {
        kept.push_back("lost");
        return kept;
    }

    static Strings Numbers(int first, int end) {
        Strings notifications;
        for (int number = first; number < end; ++number) {
            notifications.push_back("notification " + std::to_string(number));
        }
        return notifications;
    }

    std::unique_ptr<BusClient> m_client = NewClient();
    std::vector<std::unique_ptr<BusClient>> m_others;
};

ON_EVERY_BUS_AND_OVER_CHANNELS(AnEndpointOnABusThatStands);

TEST_P(AnEndpointOnABusThatStands, LosesNothingWhileLittleWaits) {
    Stand();
    TellNumbers(500);

    EXPECT_EQ(Numbers(0, 500), ArrivalsOnceItRuns());
    EXPECT_EQ(0u, ErrorsLogged("")) << WholeLog();
}

TEST_P(AnEndpointOnABusThatStands, KeepsOneThousandAndTwentyThree) {
    Stall();
    TellNumbers(1023);

    EXPECT_EQ(WithLoss(Numbers(0, 1023)), ArrivalsOnceItRuns());
}

TEST_P(AnEndpointOnABusThatStands, KeepsOneThousandAndTwentyFour) {
    Stall();
    TellNumbers(1024);

    EXPECT_EQ(WithLoss(Numbers(0, 1024)), ArrivalsOnceItRuns());
}

TEST_P(AnEndpointOnABusThatStands, DropsTheOldestOfOneThousandAndTwentyFive) {
    Stall();
    TellNumbers(1025);

    EXPECT_EQ(WithLoss(Numbers(1, 1025)), ArrivalsOnceItRuns());
}

TEST_P(AnEndpointOnABusThatStands, KeepsAQuarterOfAMegabyte) {
    Stall();
    for (const char* body : {"a", "b", "c", "d"}) {
        m_endpoint->Tell(body + std::string(65535, '-'));
    }

    const Strings arrivals = ArrivalsOnceItRuns();

    ASSERT_EQ(4u + 1u, arrivals.size()) << "the last says that fillers were lost";
    EXPECT_EQ("notification a", arrivals.front().substr(0, 14));
}

TEST_P(AnEndpointOnABusThatStands, DropsTheOldestForOneByteMoreThanAQuarterOfAMegabyte) {
    Stall();
    m_endpoint->Tell("a" + std::string(65536, '-'));
    for (const char* body : {"b", "c", "d"}) {
        m_endpoint->Tell(body + std::string(65535, '-'));
    }

    const Strings arrivals = ArrivalsOnceItRuns();

    ASSERT_EQ(3u + 1u, arrivals.size()) << "the last says that some were lost";
    EXPECT_EQ("notification b", arrivals.front().substr(0, 14));
}

TEST_P(AnEndpointOnABusThatStands, MergesRepetitionsOfTheNewestThatWaits) {
    Stall();
    for (const char* body : {"a", "a", "a", "b", "a"}) m_endpoint->Tell(body);

    EXPECT_EQ(WithLoss({"notification a", "notification b", "notification a"}),
              ArrivalsOnceItRuns());
}

TEST_P(AnEndpointOnABusThatStands, MergesNothingThatGoesToAnother) {
    Stall();
    m_endpoint->Tell("a");
    m_endpoint->Tell("a", m_client->Name());
    m_endpoint->Tell("a", m_client->Name());
    m_endpoint->Tell("a");

    EXPECT_EQ(WithLoss({"notification a", "notification a", "notification a"}),
              ArrivalsOnceItRuns());
}

TEST_P(AnEndpointOnABusThatStands, CountsWhatItMergedAndDroppedInItsSerial) {
    Stall();
    for (int number = 0; number < 10; ++number) m_endpoint->Tell("the same");
    TellNumbers(2000);
    ArrivalsOnceItRuns();

    EXPECT_EQ(200u + 10u + 2000u, m_client->ReadSerial().number);
}

TEST_P(AnEndpointOnABusThatStands, LogsALossOncePerStall) {
    const std::string loss =
        std::string(GetParam().withChannels ? "a partner's channel" : "the bus") +
        " takes nothing more: the oldest notifications are dropped";
    Stall();
    TellNumbers(3000);
    EXPECT_EQ(1u, ErrorsLogged(loss)) << WholeLog();
    ArrivalsOnceItRuns();

    Stall();
    TellNumbers(3000);

    EXPECT_EQ(2u, ErrorsLogged(loss)) << WholeLog();
    RunOn();
}

TEST_P(AnEndpointOnABusThatStands, GrowsByLessThanTwoMegabytesOverAHundredThousandNotifications) {
    Stand();
    const std::size_t before = HeapInUse();

    for (int number = 0; number < 50'000; ++number) {
        m_endpoint->Tell("one");
        m_endpoint->Tell("other");
        if (number % 100 == 0) RunWhatIsReady();
    }

    EXPECT_LT(HeapInUse(), before + 2 * kMegabyte);
    RunOn();
    EXPECT_EQ("still there", m_client->Message("still there").body);
}

TEST_P(AnEndpointOnABusThatStands, GrowsByLessThanTwoMegabytesOverLongNotifications) {
    Stand();
    const std::size_t before = HeapInUse();

    for (int number = 0; number < 1000; ++number) m_endpoint->Tell(Filler(number, 100'000));

    EXPECT_LT(HeapInUse(), before + 2 * kMegabyte);
}

TEST_P(AnEndpointOnABusThatStands, KeepsItsPartners) {
    m_client->Connect();
    Stall();

    ArrivalsOnceItRuns();

    EXPECT_EQ((Strings{"ready " + m_client->Name(), "message the end"}), m_endpoint->m_events);
}

TEST_P(AnEndpointOnABusThatStands, HearsOfAPartnerThatLeftMeanwhile) {
    auto partner = NewClient();
    const std::string name = partner->Name();
    partner->Connect();
    Stall();
    partner.reset();

    RunOn();

    EXPECT_TRUE(RunUntil([&] { return m_endpoint->m_events.size() == 2; }));
    EXPECT_EQ((Strings{"ready " + name, "gone " + name}), m_endpoint->m_events);
}

TEST_P(AnEndpointOnABusThatStands, StillDeliversWhatWaitsWhenItEndsOnceTheBusRuns) {
    Stall();
    TellNumbers(1000);
    RunOnAside();

    EndEndpoint();

    const Strings& arrivals = m_client->m_arrivals;
    EXPECT_TRUE(RunUntil([&] { return !arrivals.empty() && arrivals.back() == "lost"; }));
    EXPECT_EQ(WithLoss(Numbers(0, 1000)), ArrivalsButFillers());
}

// ---- A bus that stands while a call is executed -------------------------------------------------

// All of them wait in the endpoint when the handler returns.
TEST_P(AnEndpointOnABusThatStands, SendsTheReplyBehindWhatItsCallCaused) {
    m_endpoint->m_answer = [this](const std::string&) {
        Stall();
        TellNumbers(100);
        return std::string("done");
    };
    const BusClient::PendingAnswer answer = m_client->Start("Message", "question");
    RunUntil([&] { return !m_endpoint->m_events.empty(); });
    RunOn();

    EXPECT_EQ("done", m_client->Wait(answer).body);

    Strings expected = WithLoss(Numbers(0, 100));
    expected.push_back("reply Message");
    EXPECT_EQ(expected, ArrivalsButFillers());
}

TEST_P(AnEndpointOnABusThatStands, ExecutesNoFurtherCallBeforeTheReplyIsOut) {
    m_endpoint->m_answer = [this](const std::string& request) {
        if (request == "first") Stand();
        return std::string(kMegabyte, 'x');
    };
    std::vector<BusClient::PendingAnswer> answers{m_client->Start("Message", "first")};
    for (int number = 0; number < 20; ++number) {
        answers.push_back(m_client->Start("Message", "more"));
    }
    const std::size_t before = HeapInUse();

    RunUntil([&] { return !m_endpoint->m_events.empty(); });
    RunWhatIsReady();

    EXPECT_EQ(Strings{"message first"}, m_endpoint->m_events);
    EXPECT_LT(HeapInUse(), before + 3 * kMegabyte) << "the one reply alone is a megabyte";
    SetSendBuffers(kMegabyte);  // the rest may be quick
    RunOn();
    for (const BusClient::PendingAnswer& answer : answers) {
        EXPECT_EQ(kMegabyte, m_client->Wait(answer).body.size()) << answer->text;
    }
}

// The bus library answers these by itself, without a word to the endpoint.
BusClient::PendingAnswer Introspect(BusClient& client) {
    return client.StartAny(kApplistName, kApplistPath, "org.freedesktop.DBus.Introspectable",
                           "Introspect", [](sd_bus_message*) { return 0; });
}

TEST_P(AnEndpointOnABusThatStands, GrowsByLessThanTwoMegabytesOverIntrospection) {
    m_endpoint->m_answer = [this](const std::string&) {
        Stand();
        return std::string();
    };
    m_others.resize(10);  // a bus may stop one at 128 open calls
    for (std::unique_ptr<BusClient>& client : m_others) client = NewClient();
    std::vector<BusClient::PendingAnswer> answers{m_client->Start("Message", "stand")};
    for (const std::unique_ptr<BusClient>& client : m_others) {
        for (int number = 0; number < 100; ++number) answers.push_back(Introspect(*client));
    }
    const std::size_t before = HeapInUse();

    RunUntil([&] { return !m_endpoint->m_events.empty(); });
    RunWhatIsReady();

    EXPECT_LT(HeapInUse(), before + 2 * kMegabyte);
    RunOn();
    for (const BusClient::PendingAnswer& answer : answers) {
        EXPECT_EQ("", m_client->Wait(answer).error) << answer->text;
    }
}

// ---- Calls that come while the bus is slow ------------------------------------------------------

// With the smallest of buffers a reply of megabytes leaves in hundreds of pieces, and with each of
// them a call may come in.
class AnEndpointWithASlowReply : public EndpointTest {
protected:
    AnEndpointWithASlowReply() {
        SetSendBuffers(kSmallest);
        // What the client sends over its channel is not to be slow as well.
        if (GetParam().withChannels) WidenSendBuffer(sd_bus_get_fd(m_client->Channel()));
        AnswerSlowly();
    }

    void AnswerSlowly() {
        m_endpoint->m_answer = [this](const std::string& request) {
            return request == "slow" ? std::string(m_slowSize, 'x') : request;
        };
    }

    // Starts a call whose reply is slow, and returns when that is on its way.
    void StartSlowReply() {
        m_slow = m_client->Start("Message", "slow");
        EXPECT_TRUE(RunUntil([this] { return !m_endpoint->m_events.empty(); }));
    }

    // A client whose calls wait for the slow reply to leave. Over channels they do so for their own
    // client's.
    BusClient& OneThatWaits() {
        if (GetParam().withChannels) return *m_client;
        m_others.push_back(NewClient());
        return *m_others.back();
    }

    using Pending = std::vector<BusClient::PendingAnswer>;

    static void Ask(BusClient& client, int count, Pending& answers) {
        for (int number = 0; number < count; ++number) {
            answers.push_back(client.Start("Message", client.Name()));
        }
    }

    // Waits for the answers to `client`, and returns how many of its calls were refused. The others
    // must have been answered rightly.
    static int RefusedOf(BusClient& client, const Pending& answers) {
        int refused = 0;
        for (const BusClient::PendingAnswer& pending : answers) {
            const Answer answer = client.Wait(pending);
            if (answer.error == kLimitsExceeded) {
                ++refused;
                EXPECT_EQ("not executed", answer.text.substr(0, 12));
            } else {
                EXPECT_EQ(client.Name(), answer.body) << answer.error << answer.text;
            }
        }
        return refused;
    }

    // How many of `client`'s calls were executed.
    int ExecutedOf(const BusClient& client) const {
        return static_cast<int>(std::count(m_endpoint->m_events.begin(), m_endpoint->m_events.end(),
                                           "message " + client.Name()));
    }

    void ExpectSlowReplyWhole() { EXPECT_EQ(m_slowSize, m_client->Wait(m_slow).body.size()); }

    // With each piece that comes in over a channel the client's library copies what it has so far.
    const std::size_t m_slowSize = (GetParam().withChannels ? 1 : 8) * kMegabyte;
    std::unique_ptr<BusClient> m_client = NewClient();
    std::vector<std::unique_ptr<BusClient>> m_others;
    BusClient::PendingAnswer m_slow;
};

ON_EVERY_BUS_AND_OVER_CHANNELS(AnEndpointWithASlowReply);

// Over the bus all senders wait for one reply; a channel has one sender.
class AnEndpointWithASlowReplyOnTheBus : public AnEndpointWithASlowReply {};

ON_EVERY_BUS(AnEndpointWithASlowReplyOnTheBus);

TEST_P(AnEndpointWithASlowReply, ExecutesSixtyFourCallsOfEachOfTwoBusyPartners) {
    BusClient& one = OneThatWaits();
    const auto other = NewClient();
    Pending answersToOne;
    Pending answersToOther;
    StartSlowReply();

    for (int number = 0; number < 64; ++number) {
        Ask(one, 1, answersToOne);
        Ask(*other, 1, answersToOther);
    }

    EXPECT_EQ(0, RefusedOf(one, answersToOne));
    EXPECT_EQ(0, RefusedOf(*other, answersToOther));
    EXPECT_EQ(64, ExecutedOf(one));
    EXPECT_EQ(64, ExecutedOf(*other));
    ExpectSlowReplyWhole();
}

TEST_P(AnEndpointWithASlowReply, RefusesTheOneWhoFloodsAndNobodyElse) {
    BusClient& flood = OneThatWaits();
    const auto one = NewClient();
    const auto other = NewClient();
    Pending answersToFlood;
    Pending answersToOne;
    Pending answersToOther;
    StartSlowReply();

    Ask(flood, 100, answersToFlood);
    Ask(*one, 64, answersToOne);
    Ask(*other, 64, answersToOther);

    const int refused = RefusedOf(flood, answersToFlood);
    EXPECT_GE(refused, 1);
    EXPECT_LE(refused, 36);
    EXPECT_EQ(100 - refused, ExecutedOf(flood)) << "refused, and executed all the same";
    EXPECT_EQ(0, RefusedOf(*one, answersToOne));
    EXPECT_EQ(0, RefusedOf(*other, answersToOther));
    ExpectSlowReplyWhole();
    EXPECT_EQ("the next", flood.Message("the next").body);
}

TEST_P(AnEndpointWithASlowReply, HoldsAMegabyteOfASenderAndRefusesWhatIsMore) {
    BusClient& client = OneThatWaits();
    const std::string body(400 << 10, 'x');
    StartSlowReply();

    const auto first = client.Start("Message", body);
    const auto second = client.Start("Message", body);
    const auto third = client.Start("Message", body);

    EXPECT_EQ(body.size(), client.Wait(first).body.size()) << first->error;
    EXPECT_EQ(body.size(), client.Wait(second).body.size()) << second->error;
    EXPECT_EQ(kLimitsExceeded, client.Wait(third).error);
}

TEST_P(AnEndpointWithASlowReply, CountsTheBytesBehindADescriptor) {
    BusClient& client = OneThatWaits();
    const TestFd body = MemfdOf(std::string(700 << 10, 'x'));
    StartSlowReply();

    const auto first = client.StartFd(body.Get());
    const auto second = client.StartFd(body.Get());

    EXPECT_EQ("", client.Wait(first).error) << first->text;
    EXPECT_EQ(kLimitsExceeded, client.Wait(second).error);
}

TEST_P(AnEndpointWithASlowReply, HoldsACallOfAnySizeWhenItIsTheOnlyOneOfItsSender) {
    BusClient& client = OneThatWaits();
    StartSlowReply();

    const auto large = client.StartFd(FilledMemfd(40 * kMegabyte).Get());
    const auto next = client.Start("Message", "next");

    EXPECT_EQ("", client.Wait(large).error) << large->text;
    EXPECT_EQ(kLimitsExceeded, client.Wait(next).error);
}

TEST_P(AnEndpointWithASlowReplyOnTheBus, HoldsCallsOfNoMoreSendersThanItsLimitsSay) {
    applist::TransportLimits limits;
    limits.heldSenders = 1;
    applist::SetTransportLimits(limits);
    EndEndpoint();
    m_endpoint = std::make_unique<RecordingEndpoint>();
    SetSendBuffers(kSmallest);
    applist::SetTransportLimits(applist::TransportLimits());
    AnswerSlowly();
    const auto one = NewClient();
    const auto other = NewClient();
    StartSlowReply();

    const auto held = one->Start("Message", "held");
    ASSERT_TRUE(one->WaitForOwner(kApplistName)) << "the bus has passed on what came before";
    const auto refused = other->Start("Message", "refused");

    EXPECT_EQ(kLimitsExceeded, other->Wait(refused).error);
    EXPECT_EQ("not executed: too many other callers are waiting; call again later", refused->text);
    EXPECT_EQ("held", one->Wait(held).body) << held->error;
}

// Those that wait keep theirs open.
TEST_P(AnEndpointWithASlowReply, RefusesCallsWhenFewDescriptorsAreFree) {
    BusClient& client = OneThatWaits();
    const TestFd body = MemfdOf(client.Name());
    StartSlowReply();
    Pending answers;

    struct rlimit before;
    getrlimit(RLIMIT_NOFILE, &before);
    struct rlimit few = before;
    few.rlim_cur = 2 * static_cast<rlim_t>(TestFd(dup(0)).Get()) + 40;
    setrlimit(RLIMIT_NOFILE, &few);
    for (int number = 0; number < 60; ++number) answers.push_back(client.StartFd(body.Get()));
    ExpectSlowReplyWhole();
    setrlimit(RLIMIT_NOFILE, &before);

    int refused = 0;
    for (const BusClient::PendingAnswer& pending : answers) {
        const Answer answer = client.Wait(pending);
        refused += answer.text == "not executed: too many descriptors are open; call again later";
        EXPECT_TRUE(answer.fd || !answer.text.empty());
    }
    EXPECT_GE(refused, 1);
    EXPECT_EQ(60 - refused, ExecutedOf(client));
    EXPECT_EQ(0u, ErrorsLogged("")) << WholeLog();
}

TEST_P(AnEndpointWithASlowReply, ExecutesHeldCallsOfEveryKindInTheirOrder) {
    m_endpoint->m_answer = [](const std::string&) { return std::string(kMegabyte, 'x'); };
    m_client->Start("Message", "slow");
    m_client->Start("Connect");
    m_client->Start("Notify", "news");
    m_client->StartFd(MemfdOf("by memfd").Get());

    m_client->Disconnect();

    const std::string name = m_client->Name();
    EXPECT_EQ((Strings{"message slow", "ready " + name, "notification news", "message by memfd",
                       "gone " + name}),
              m_endpoint->m_events);
    EXPECT_EQ((Strings{"reply Message", "reply Connect", "reply Notify", "reply MessageFd",
                       "reply Disconnect"}),
              m_client->m_arrivals);
}

// The answer overtakes the notifications that wait in the endpoint.
TEST_P(AnEndpointWithASlowReply, CountsInItsSerialExactlyWhatIsSentBeforeTheAnswer) {
    BusClient& partner = OneThatWaits();
    partner.Subscribe();
    StartSlowReply();
    for (int number = 0; number < 200; ++number) m_endpoint->Tell(std::to_string(number));
    partner.m_arrivals.clear();

    const std::uint64_t serial = partner.ReadSerial().number;

    const Strings& arrivals = partner.m_arrivals;
    const auto isNotification = [](const std::string& one) { return one.rfind("notif", 0) == 0; };
    EXPECT_EQ(static_cast<std::ptrdiff_t>(serial),
              std::count_if(arrivals.begin(), arrivals.end(), isNotification));
    EXPECT_EQ("reply Get", arrivals.back());
    EXPECT_LT(serial, 200u) << "nothing waited, so this shows nothing";
    ExpectSlowReplyWhole();
    EXPECT_EQ(200u, partner.ReadSerial().number);
}

// The reply of the first call waits behind a notification that waits, and meanwhile more calls come
// in than may be held.
TEST_P(AnEndpointWithASlowReply, AnswersEveryCallOnceAlsoWhileNotificationsWait) {
    m_endpoint->m_answer = [this](const std::string& request) {
        if (request == "first") {
            m_endpoint->Tell(Filler(0, m_slowSize / 2));
            m_endpoint->Tell("behind it");
        }
        return request;
    };
    const auto first = m_client->Start("Message", "first");
    Pending answers;
    Ask(*m_client, 100, answers);

    EXPECT_EQ("first", m_client->Wait(first).body) << first->error;
    const int refused = RefusedOf(*m_client, answers);

    // The first one may be among the 64 that wait.
    EXPECT_LE(refused, 37);
    EXPECT_EQ(100 - refused, ExecutedOf(*m_client));
}
