// SPDX-License-Identifier: MIT

// A bus that does not drain, or a partner's channel that is not read. Every socket of the process
// gets the smallest send buffer there is, so that little clogs it, and as little with root's rights
// as without.

#include <algorithm>

#include "support/CapturedLog.h"
#include "support/EndpointTest.h"
#include "support/HeapInUse.h"
#include "support/Megabyte.h"

namespace {

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
        SetSendBuffers(kSmallestBuffer);
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
