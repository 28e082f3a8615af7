// A bus that does not drain. Every socket of the process gets the smallest send buffer there is, so
// that little clogs it, and as little with root's rights as without.

#include <sys/socket.h>

#include <algorithm>

#include "bus/TransportLimits.h"
#include "support/CapturedLog.h"
#include "support/EndpointTest.h"
#include "support/HeapInUse.h"

namespace {

constexpr std::size_t kMegabyte = std::size_t{1} << 20;

void ShrinkSendBuffers() {
    const int smallest = 1;  // the kernel knows how small a buffer may be
    for (int fd = 3; fd < 1024; ++fd) {
        setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &smallest, sizeof(smallest));
    }
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
        ShrinkSendBuffers();
    }

    // Makes the bus stand, and sends until notifications wait in the endpoint.
    void Stall() {
        m_bus.Stop();
        for (int number = 0; number < 200; ++number) m_endpoint->Tell(Filler(number));
    }

    // Sends 0 to `count` - 1.
    void TellNumbers(int count) {
        for (int number = 0; number < count; ++number) m_endpoint->Tell(std::to_string(number));
    }

    // Lets the bus run on, and returns what then came in but for the fillers.
    Strings ArrivalsOnceItRuns() {
        m_bus.Continue();
        m_client->Message("the end");
        Strings arrivals;
        for (const std::string& arrival : m_client->m_arrivals) {
            if (arrival.find("filler") == std::string::npos && arrival != "reply Message") {
                arrivals.push_back(arrival);
            }
        }
        return arrivals;
    }

    static Strings Numbers(int first, int end) {
        Strings notifications;
        for (int number = first; number < end; ++number) {
            notifications.push_back("notification " + std::to_string(number));
        }
        return notifications;
    }

    std::unique_ptr<BusClient> m_client = NewClient();
};

ON_EVERY_BUS_AND_OVER_CHANNELS(AnEndpointOnABusThatStands);

TEST_P(AnEndpointOnABusThatStands, LosesNothingWhileLittleWaits) {
    m_bus.Stop();
    TellNumbers(500);

    EXPECT_EQ(Numbers(0, 500), ArrivalsOnceItRuns());
    EXPECT_EQ(0u, ErrorsLogged("")) << WholeLog();
}

TEST_P(AnEndpointOnABusThatStands, KeepsOneThousandAndTwentyThree) {
    Stall();
    TellNumbers(1023);

    EXPECT_EQ(Numbers(0, 1023), ArrivalsOnceItRuns());
}

TEST_P(AnEndpointOnABusThatStands, KeepsOneThousandAndTwentyFour) {
    Stall();
    TellNumbers(1024);

    EXPECT_EQ(Numbers(0, 1024), ArrivalsOnceItRuns());
}

TEST_P(AnEndpointOnABusThatStands, DropsTheOldestOfOneThousandAndTwentyFive) {
    Stall();
    TellNumbers(1025);

    EXPECT_EQ(Numbers(1, 1025), ArrivalsOnceItRuns());
}

TEST_P(AnEndpointOnABusThatStands, KeepsAQuarterOfAMegabyte) {
    Stall();
    for (const char* body : {"a", "b", "c", "d"}) {
        m_endpoint->Tell(body + std::string(65535, '-'));
    }

    const Strings arrivals = ArrivalsOnceItRuns();

    ASSERT_EQ(4u, arrivals.size());
    EXPECT_EQ("notification a", arrivals.front().substr(0, 14));
}

TEST_P(AnEndpointOnABusThatStands, DropsTheOldestForOneByteMoreThanAQuarterOfAMegabyte) {
    Stall();
    m_endpoint->Tell("a" + std::string(65536, '-'));
    for (const char* body : {"b", "c", "d"}) {
        m_endpoint->Tell(body + std::string(65535, '-'));
    }

    const Strings arrivals = ArrivalsOnceItRuns();

    ASSERT_EQ(3u, arrivals.size());
    EXPECT_EQ("notification b", arrivals.front().substr(0, 14));
}

TEST_P(AnEndpointOnABusThatStands, MergesRepetitionsOfTheNewestThatWaits) {
    Stall();
    for (const char* body : {"a", "a", "a", "b", "a"}) m_endpoint->Tell(body);

    EXPECT_EQ((Strings{"notification a", "notification b", "notification a"}),
              ArrivalsOnceItRuns());
}

TEST_P(AnEndpointOnABusThatStands, MergesNothingThatGoesToAnother) {
    Stall();
    m_endpoint->Tell("a");
    m_endpoint->Tell("a", m_client->Name());
    m_endpoint->Tell("a", m_client->Name());
    m_endpoint->Tell("a");

    EXPECT_EQ((Strings{"notification a", "notification a", "notification a"}),
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
    Stall();
    TellNumbers(3000);
    EXPECT_EQ(1u, ErrorsLogged("the oldest notifications are dropped")) << WholeLog();
    ArrivalsOnceItRuns();

    Stall();
    TellNumbers(3000);

    EXPECT_EQ(2u, ErrorsLogged("the oldest notifications are dropped")) << WholeLog();
    m_bus.Continue();
}

TEST_P(AnEndpointOnABusThatStands, GrowsByLessThanTwoMegabytesOverAHundredThousandNotifications) {
    m_bus.Stop();
    const std::size_t before = HeapInUse();

    for (int number = 0; number < 50'000; ++number) {
        m_endpoint->Tell("one");
        m_endpoint->Tell("other");
        if (number % 100 == 0) RunWhatIsReady();
    }

    EXPECT_LT(HeapInUse(), before + 2 * kMegabyte);
    m_bus.Continue();
    EXPECT_EQ("still there", m_client->Message("still there").body);
}

TEST_P(AnEndpointOnABusThatStands, GrowsByLessThanTwoMegabytesOverLongNotifications) {
    m_bus.Stop();
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

    m_bus.Continue();

    EXPECT_TRUE(RunUntil([&] { return m_endpoint->m_events.size() == 2; }));
    EXPECT_EQ((Strings{"ready " + name, "gone " + name}), m_endpoint->m_events);
}

TEST_P(AnEndpointOnABusThatStands, StillDeliversWhatWaitsWhenItEndsOnceTheBusRuns) {
    Stall();
    TellNumbers(1000);
    m_bus.Continue();

    EndEndpoint();

    const Strings& arrivals = m_client->m_arrivals;
    EXPECT_TRUE(
        RunUntil([&] { return !arrivals.empty() && arrivals.back() == "notification 999"; }));
    EXPECT_EQ(Numbers(0, 1000), Strings(arrivals.end() - 1000, arrivals.end()));
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
    m_bus.Continue();

    EXPECT_EQ("done", m_client->Wait(answer).body);

    const Strings& arrivals = m_client->m_arrivals;
    ASSERT_LT(100u, arrivals.size());
    EXPECT_EQ(Numbers(0, 100), Strings(arrivals.end() - 101, arrivals.end() - 1));
    EXPECT_EQ("reply Message", arrivals.back());
}

TEST_P(AnEndpointOnABusThatStands, ExecutesNoFurtherCallBeforeTheReplyIsOut) {
    m_endpoint->m_answer = [this](const std::string& request) {
        if (request == "first") m_bus.Stop();
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
    m_bus.Continue();
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
        m_bus.Stop();
        return std::string();
    };
    std::vector<std::unique_ptr<BusClient>> clients(10);  // a bus may stop one at 128 open calls
    for (std::unique_ptr<BusClient>& client : clients) client = NewClient();
    std::vector<BusClient::PendingAnswer> answers{m_client->Start("Message", "stand")};
    for (const std::unique_ptr<BusClient>& client : clients) {
        for (int number = 0; number < 100; ++number) answers.push_back(Introspect(*client));
    }
    const std::size_t before = HeapInUse();

    RunUntil([&] { return !m_endpoint->m_events.empty(); });
    RunWhatIsReady();

    EXPECT_LT(HeapInUse(), before + 2 * kMegabyte);
    m_bus.Continue();
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
        ShrinkSendBuffers();
        m_endpoint->m_answer = [](const std::string& request) {
            return request == "slow" ? std::string(8 * kMegabyte, 'x') : request;
        };
    }

    // Starts a call whose reply is slow, and returns when that is on its way.
    void StartSlowReply() {
        m_slow = m_client->Start("Message", "slow");
        EXPECT_TRUE(RunUntil([this] { return !m_endpoint->m_events.empty(); }));
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

    void ExpectSlowReplyWhole() { EXPECT_EQ(8 * kMegabyte, m_client->Wait(m_slow).body.size()); }

    std::unique_ptr<BusClient> m_client = NewClient();
    BusClient::PendingAnswer m_slow;
};

ON_EVERY_BUS_AND_OVER_CHANNELS(AnEndpointWithASlowReply);

TEST_P(AnEndpointWithASlowReply, ExecutesSixtyFourCallsOfEachOfTwoBusyPartners) {
    const auto one = NewClient();
    const auto other = NewClient();
    Pending answersToOne;
    Pending answersToOther;
    StartSlowReply();

    for (int number = 0; number < 64; ++number) {
        Ask(*one, 1, answersToOne);
        Ask(*other, 1, answersToOther);
    }

    EXPECT_EQ(0, RefusedOf(*one, answersToOne));
    EXPECT_EQ(0, RefusedOf(*other, answersToOther));
    EXPECT_EQ(64, ExecutedOf(*one));
    EXPECT_EQ(64, ExecutedOf(*other));
    ExpectSlowReplyWhole();
}

TEST_P(AnEndpointWithASlowReply, RefusesTheOneWhoFloodsAndNobodyElse) {
    const auto flood = NewClient();
    const auto one = NewClient();
    const auto other = NewClient();
    Pending answersToFlood;
    Pending answersToOne;
    Pending answersToOther;
    StartSlowReply();

    Ask(*flood, 100, answersToFlood);
    Ask(*one, 64, answersToOne);
    Ask(*other, 64, answersToOther);

    const int refused = RefusedOf(*flood, answersToFlood);
    EXPECT_GE(refused, 1);
    EXPECT_LE(refused, 36);
    EXPECT_EQ(100 - refused, ExecutedOf(*flood)) << "refused, and executed all the same";
    EXPECT_EQ(0, RefusedOf(*one, answersToOne));
    EXPECT_EQ(0, RefusedOf(*other, answersToOther));
    ExpectSlowReplyWhole();
    EXPECT_EQ("the next", flood->Message("the next").body);
}

TEST_P(AnEndpointWithASlowReply, HoldsAMegabyteOfASenderAndRefusesWhatIsMore) {
    const auto client = NewClient();
    const std::string body(400 << 10, 'x');
    StartSlowReply();

    const auto first = client->Start("Message", body);
    const auto second = client->Start("Message", body);
    const auto third = client->Start("Message", body);

    EXPECT_EQ(body.size(), client->Wait(first).body.size()) << first->error;
    EXPECT_EQ(body.size(), client->Wait(second).body.size()) << second->error;
    EXPECT_EQ(kLimitsExceeded, client->Wait(third).error);
}

TEST_P(AnEndpointWithASlowReply, CountsTheBytesBehindADescriptor) {
    const auto client = NewClient();
    const TestFd body = MemfdOf(std::string(700 << 10, 'x'));
    StartSlowReply();

    const auto first = client->StartFd(body.Get());
    const auto second = client->StartFd(body.Get());

    EXPECT_EQ("", client->Wait(first).error) << first->text;
    EXPECT_EQ(kLimitsExceeded, client->Wait(second).error);
}

TEST_P(AnEndpointWithASlowReply, HoldsACallOfAnySizeWhenItIsTheOnlyOneOfItsSender) {
    const auto client = NewClient();
    StartSlowReply();

    const auto large = client->StartFd(FilledMemfd(40 * kMegabyte).Get());
    const auto next = client->Start("Message", "next");

    EXPECT_EQ("", client->Wait(large).error) << large->text;
    EXPECT_EQ(kLimitsExceeded, client->Wait(next).error);
}

TEST_P(AnEndpointWithASlowReply, HoldsCallsOfNoMoreSendersThanItsLimitsSay) {
    applist::TransportLimits limits;
    limits.heldSenders = 1;
    applist::SetTransportLimits(limits);
    EndEndpoint();
    m_endpoint = std::make_unique<RecordingEndpoint>();
    ShrinkSendBuffers();
    applist::SetTransportLimits(applist::TransportLimits());
    m_endpoint->m_answer = [](const std::string& request) {
        return request == "slow" ? std::string(8 * kMegabyte, 'x') : request;
    };
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
    const auto partner = NewClient();
    partner->Subscribe();
    StartSlowReply();
    for (int number = 0; number < 200; ++number) m_endpoint->Tell(std::to_string(number));
    partner->m_arrivals.clear();

    const std::uint64_t serial = partner->ReadSerial().number;

    // The last one is the answer itself.
    EXPECT_EQ(serial, partner->m_arrivals.size() - 1);
    EXPECT_LT(serial, 200u) << "nothing waited, so this shows nothing";
    ExpectSlowReplyWhole();
    EXPECT_EQ(200u, partner->ReadSerial().number);
}

// The reply of the first call waits behind a notification that waits, and meanwhile more calls come
// in than may be held.
TEST_P(AnEndpointWithASlowReply, AnswersEveryCallOnceAlsoWhileNotificationsWait) {
    m_endpoint->m_answer = [this](const std::string& request) {
        if (request == "first") {
            m_endpoint->Tell(Filler(0, 4 * kMegabyte));
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
