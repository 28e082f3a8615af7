// SPDX-License-Identifier: MIT

// Calls that come while a reply leaves slowly, over a bus or a partner's channel.

#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>

#include "bus/TransportLimits.h"
#include "support/CapturedLog.h"
#include "support/EndpointTest.h"
#include "support/Megabyte.h"
#include "support/TestFd.h"

namespace {

void WidenSendBuffer(int socket) {
    const int size = kMegabyte;  // or as much of that as the kernel allows
    setsockopt(socket, SOL_SOCKET, SO_SNDBUF, &size, sizeof(size));
}

}  // namespace

// With the smallest of buffers a reply of megabytes leaves in hundreds of pieces, and with each of
// them a call may come in.
class AnEndpointWithASlowReply : public EndpointTest {
protected:
    AnEndpointWithASlowReply() {
        SetSendBuffers(kSmallestBuffer);
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
    SetSendBuffers(kSmallestBuffer);
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
            m_endpoint->Tell(std::string(m_slowSize / 2, '.'));
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
