// SPDX-License-Identifier: MIT

// Direct channels: the bus introduces, then the two talk without it.

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <iterator>
#include <stdexcept>
#include <thread>

#include "bus/SdBus.h"
#include "bus/TransportLimits.h"
#include "support/BusFaults.h"
#include "support/CapturedLog.h"
#include "support/EndpointTest.h"
#include "support/HeapInUse.h"
#include "support/ProcessState.h"

using applist::UniqueBus;

namespace {

constexpr std::size_t kKilobyte = 1024;
constexpr char kAccessDenied[] = "org.freedesktop.DBus.Error.AccessDenied";
constexpr char kNotSupported[] = "org.freedesktop.DBus.Error.NotSupported";

std::string HandshakeOnTheWire() {
    const char handshake[] = "\0AUTH ANONYMOUS\r\nNEGOTIATE_UNIX_FD\r\nBEGIN\r\n";
    return std::string(handshake, sizeof(handshake) - 1);
}

// The bytes of a call: a header of fixed size, and the fields path, interface and member.
std::string ConnectOnTheWire() {
    std::string fields;
    const auto add = [&](char field, char type, const std::string& value) {
        fields.resize((fields.size() + 7) / 8 * 8);
        fields += {field, 1, type, 0, static_cast<char>(value.size()), 0, 0, 0};
        fields += value;
        fields += '\0';
    };
    add(1, 'o', kApplistPath);
    add(2, 's', kApplistInterface);
    add(3, 's', "Connect");
    std::string message{'l', 1, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, static_cast<char>(fields.size()),
                        0,   0, 0};
    message += fields;
    message.resize((message.size() + 7) / 8 * 8);
    return message;
}

}  // namespace

class AChannelToAnEndpoint : public EndpointTest {
protected:
    AChannelToAnEndpoint() { m_other->Subscribe(); }

    // A client that calls over a channel.
    std::unique_ptr<BusClient> NewDirectClient() {
        auto client = NewClient();
        EXPECT_EQ("", client->TakeChannel().text);
        EXPECT_EQ("", client->Connect().text);
        return client;
    }

    // What has come to `client` by now, of that which is not an answer.
    static Strings Heard(BusClient& client) {
        client.Message("whatever comes before");
        Strings heard;
        for (const std::string& arrival : client.m_arrivals) {
            if (arrival.find("reply") == std::string::npos) heard.push_back(arrival);
        }
        return heard;
    }

    // Sends these bytes over a channel for the other client; returns that client's end.
    std::shared_ptr<TestFd> SendOverANewChannel(const std::string& bytes) {
        const Answer answer = m_other->Wait(m_other->Start("Channel"));
        if (!answer.fd) throw std::runtime_error("no channel: " + answer.text);
        EXPECT_EQ(static_cast<ssize_t>(bytes.size()),
                  send(answer.fd->Get(), bytes.data(), bytes.size(), MSG_NOSIGNAL));
        return answer.fd;
    }

    // Whether what `socket` has sent by now was all.
    static bool IsAtItsEnd(const TestFd& socket) {
        char bytes[256];
        ssize_t size = 0;
        do {
            size = recv(socket.Get(), bytes, sizeof(bytes), MSG_DONTWAIT);
        } while (size > 0);
        return size == 0 || errno == ECONNRESET;
    }

    static bool HasEnded(const BusClient& client) { return sd_bus_is_open(client.Channel()) <= 0; }

    std::unique_ptr<BusClient> m_client = NewDirectClient();
    std::unique_ptr<BusClient> m_other = NewClient();
};

ON_EVERY_BUS(AChannelToAnEndpoint);

// ---- What goes over it --------------------------------------------------------------------------

TEST_P(AChannelToAnEndpoint, CarriesCallsWhileTheBusStands) {
    m_bus.Stop();

    EXPECT_EQ("hello", m_client->Message("hello").body);

    m_bus.Continue();
}

TEST_P(AChannelToAnEndpoint, NamesItsPartnerAsTheBusDoes) {
    m_client->Disconnect();

    EXPECT_EQ((Strings{"ready " + m_client->Name(), "gone " + m_client->Name()}),
              m_endpoint->m_events);
}

TEST_P(AChannelToAnEndpoint, CarriesDescriptorsBothWays) {
    const Answer answer = m_client->MessageFd(MemfdOf("a request").Get());

    ASSERT_TRUE(answer.fd) << answer.text;
    EXPECT_EQ("a request", ContentOf(answer.fd->Get()));
}

TEST_P(AChannelToAnEndpoint, CarriesNotificationsOfThePartner) {
    m_client->Notify("click");

    EXPECT_EQ("notification click", m_endpoint->m_events.back());
}

TEST_P(AChannelToAnEndpoint, TellsItsPartnerWhatEverybodyHearsOnce) {
    m_endpoint->Tell("news");

    EXPECT_EQ(Strings{"notification news"}, Heard(*m_client));
    EXPECT_EQ(Strings{"notification news"}, Heard(*m_other));
}

TEST_P(AChannelToAnEndpoint, TellsItsPartnerWhatIsForItAlone) {
    m_endpoint->Tell("for you", m_client->Name());

    EXPECT_EQ(Strings{"notification for you"}, Heard(*m_client));
    EXPECT_EQ(Strings(), Heard(*m_other));
}

TEST_P(AChannelToAnEndpoint, CountsANotificationOnce) {
    m_endpoint->Tell("news");

    EXPECT_EQ(1u, m_client->ReadSerial().number);
    EXPECT_EQ(1u, m_other->ReadSerial().number);
}

// ---- How it begins ------------------------------------------------------------------------------

TEST_P(AChannelToAnEndpoint, ExecutesNothingBeforeConnect) {
    auto client = NewClient();
    client->TakeChannel();

    EXPECT_EQ(kAccessDenied, client->Message("hello").error);
    EXPECT_EQ(Strings{"ready " + m_client->Name()}, m_endpoint->m_events);
}

TEST_P(AChannelToAnEndpoint, SendsNothingBeforeConnect) {
    auto client = NewClient();
    client->Subscribe();
    client->TakeChannel();

    m_endpoint->Tell("news");
    m_endpoint->Tell("for you", client->Name());

    EXPECT_TRUE(RunUntil([&] { return client->m_arrivals.size() == 4; }));
    EXPECT_EQ(
        (Strings{"reply AddMatch", "reply Channel", "notification news", "notification for you"}),
        client->m_arrivals);
}

// Some libraries send their first call together with the end of the handshake.
TEST_P(AChannelToAnEndpoint, TakesACallThatComesWithTheHandshake) {
    const auto socket = SendOverANewChannel(HandshakeOnTheWire() + ConnectOnTheWire());

    EXPECT_TRUE(
        RunUntil([&] { return m_endpoint->m_events.back() == "ready " + m_other->Name(); }));
}

TEST_P(AChannelToAnEndpoint, IsClosedWhenNobodyUsesItSoon) {
    auto client = NewClient();
    client->TakeChannel();

    EXPECT_TRUE(RunUntil([&] { return HasEnded(*client); }));
}

TEST_P(AChannelToAnEndpoint, GivesWayToASecondOne) {
    const TestFd first(dup(sd_bus_get_fd(m_client->Channel())));
    m_client->LeaveChannel();

    m_client->TakeChannel();
    m_client->Connect();

    EXPECT_TRUE(RunUntilReadable(first.Get())) << "it has ended";
    EXPECT_EQ("hello", m_client->Message("hello").body);
}

TEST_P(AChannelToAnEndpoint, GivesNoOtherChannel) {
    EXPECT_EQ(kNotSupported, m_client->TakeChannel().error);
}

TEST_P(AChannelToAnEndpoint, IsNotGivenWhereTheEnvironmentForbidsIt) {
    setenv("APPLIST_DIRECT", "0", 1);

    EXPECT_EQ(kNotSupported, m_other->TakeChannel().error);

    unsetenv("APPLIST_DIRECT");
    EXPECT_EQ("hello", m_other->Message("hello").body);
}

TEST_P(AChannelToAnEndpoint, IsOneOfSixtyFour) {
    std::vector<std::unique_ptr<BusClient>> clients;
    while (clients.size() < 63) clients.push_back(NewDirectClient());

    EXPECT_EQ(kLimitsExceeded, m_other->TakeChannel().error);

    clients.pop_back();
    EXPECT_TRUE(RunUntil([&] { return m_other->TakeChannel().error.empty(); }));
}

TEST_P(AChannelToAnEndpoint, IsNotGivenWithoutADescriptor) {
    {
        const FailingBusCall fault(BusCall::SocketPair, -EMFILE);
        EXPECT_EQ("System.Error.EMFILE", m_other->TakeChannel().error);
    }

    EXPECT_EQ("hello", m_other->Message("hello").body);
    EXPECT_EQ("", m_other->TakeChannel().error);
}

TEST_P(AChannelToAnEndpoint, IsNotGivenWithoutATimerForIt) {
    {
        const FailingBusCall fault(BusCall::MakeTimer, -ENOMEM);
        EXPECT_EQ("org.freedesktop.DBus.Error.NoMemory", m_other->TakeChannel().error);
    }

    EXPECT_EQ("hello", m_other->Message("hello").body);
    EXPECT_EQ("", m_other->TakeChannel().error);
}

// ---- How it ends --------------------------------------------------------------------------------

TEST_P(AChannelToAnEndpoint, EndsWhenItsPartnerLeavesTheBus) {
    const TestFd end(dup(sd_bus_get_fd(m_client->Channel())));
    const std::string name = m_client->Name();

    m_client.reset();

    EXPECT_TRUE(RunUntilReadable(end.Get()));
    EXPECT_TRUE(RunUntil([&] { return m_endpoint->m_events.back() == "gone " + name; }));
}

TEST_P(AChannelToAnEndpoint, CarriesOutWhatWasSentBeforeItsPartnerLeft) {
    const TestFd end(dup(sd_bus_get_fd(m_client->Channel())));
    Strings expected{"ready " + m_client->Name()};
    for (int number = 0; number < 60; ++number) {
        m_client->Start("Message", std::to_string(number));
        expected.push_back("message " + std::to_string(number));
    }
    expected.push_back("gone " + m_client->Name());
    m_client.reset();
    m_bus.WaitUntilIdle();

    EXPECT_TRUE(RunUntil([&] { return m_endpoint->m_events.size() >= expected.size(); }));

    Strings events = m_endpoint->m_events;
    std::sort(events.begin(), events.end());  // it may be gone in the middle of them
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(expected, events);
}

// Those wait until it is read; and then nobody will.
TEST_P(AChannelToAnEndpoint, CarriesOutWhatWasSentBehindALargeReplyThatNobodyRead) {
    const TestFd end(dup(sd_bus_get_fd(m_client->Channel())));
    m_client->StopReading();
    m_client->StartFd(MemfdOf(std::string(300 * kKilobyte, '.')).Get());
    m_client->Start("Message", "behind it");
    m_other->Message("until the first has been executed");
    m_client.reset();

    EXPECT_TRUE(RunUntil([this] {
        const Strings& events = m_endpoint->m_events;
        return std::find(events.begin(), events.end(), "message behind it") != events.end();
    }));
}

TEST_P(AChannelToAnEndpoint, LeavesNothingWhenItsPartnerDiesBeforeItTakesIt) {
    m_other->Message("until all else is done");
    RunWhatIsReady();
    const ProcessState before = ProcessState::Now();
    auto client = NewClient();
    client->StopReading();
    client->Start("Channel");
    m_other->Message("until it has been given");

    client.reset();

    EXPECT_TRUE(RunUntil([&] { return ProcessState::Now() == before; }));
}

TEST_P(AChannelToAnEndpoint, TakesNothingThatIsSentAfterItsPartnerLeft) {
    const TestFd end(dup(sd_bus_get_fd(m_client->Channel())));
    m_client.reset();
    ASSERT_TRUE(RunUntilReadable(end.Get()));

    EXPECT_EQ(-1, send(end.Get(), "l", 1, MSG_NOSIGNAL));
    EXPECT_EQ(EPIPE, errno);
}

TEST_P(AChannelToAnEndpoint, MayEndAndLeaveItsPartnerOnTheBus) {
    m_client->LeaveChannel();
    m_client->Subscribe();

    m_endpoint->Tell("news");

    const Strings heard = Heard(*m_client);
    ASSERT_FALSE(heard.empty());
    EXPECT_EQ("notification news", heard.back());
    EXPECT_EQ(Strings{"ready " + m_client->Name()},
              Strings(m_endpoint->m_events.begin(), m_endpoint->m_events.begin() + 1));
}

TEST_P(AChannelToAnEndpoint, EndsWithTheBus) {
    m_bus.Kill();

    EXPECT_TRUE(RunUntil([&] { return HasEnded(*m_client); }));
}

TEST_P(AChannelToAnEndpoint, EndsWhenItsPartnerTalksNonsense) {
    const auto socket = SendOverANewChannel(std::string(100, 'x') + "\r\n");

    EXPECT_TRUE(RunUntil([&] { return IsAtItsEnd(*socket); }));
    EXPECT_EQ("hello", m_client->Message("hello").body);
    EXPECT_EQ("hello", m_other->Message("hello").body);
}

TEST_P(AChannelToAnEndpoint, EndsWhenItsPartnerTalksNonsenseOnceItIsConnected) {
    const auto socket =
        SendOverANewChannel(HandshakeOnTheWire() + ConnectOnTheWire() + std::string(1000, 'x'));

    EXPECT_TRUE(RunUntil([&] { return IsAtItsEnd(*socket); }));
    EXPECT_EQ("ready " + m_other->Name(), m_endpoint->m_events.back());
    EXPECT_EQ("hello", m_client->Message("hello").body);
    m_endpoint->Tell("over the bus", m_other->Name());
    EXPECT_EQ(Strings{"notification over the bus"}, Heard(*m_other));
}

// Some of these say that megabytes are to follow, and the next channel is asked for before that one
// is given up.
TEST_P(AChannelToAnEndpoint, HarmsNobodyWhicheverByteOfItsFirstCallIsWrong) {
    const std::string right = ConnectOnTheWire();
    for (std::size_t at = 0; at < right.size(); ++at) {
        std::string wrong = right;
        wrong[at] = static_cast<char>(~wrong[at]);
        const auto socket = SendOverANewChannel(HandshakeOnTheWire() + wrong);
        ASSERT_EQ("hello", m_client->Message("hello").body) << "byte " << at;
    }

    EXPECT_EQ("hello", m_other->Message("hello").body);
}

TEST_P(AChannelToAnEndpoint, ReportsNobodyWhoDoesNotConnect) {
    auto client = NewClient();
    client->TakeChannel();
    client->Message("refused");

    client.reset();

    EXPECT_EQ("hello", m_other->Message("hello").body);
    EXPECT_EQ((Strings{"ready " + m_client->Name(), "message hello"}), m_endpoint->m_events);
}

// As a partner does that does not know yet. If the endpoint had closed its end by then, what lies
// in the partner's would be lost.
class APartnerThatWritesOnceTheEndpointEnds {
public:
    explicit APartnerThatWritesOnceTheEndpointEnds(int socket)
        : m_socket(dup(socket)), m_thread([this] { Write(); }) {}

    // How many bytes the socket took, of one.
    ssize_t Written() {
        m_thread.join();
        return m_written;
    }

private:
    void Write() {
        struct pollfd end = {m_socket.Get(), POLLRDHUP, 0};
        if (poll(&end, 1, 10000) == 1) m_written = send(m_socket.Get(), "l", 1, MSG_NOSIGNAL);
    }

    const TestFd m_socket;
    ssize_t m_written = 0;
    std::thread m_thread;
};

TEST_P(AChannelToAnEndpoint, DeliversItsAnswersWhenTheEndpointEnds) {
    m_client->StopReading();
    const auto answer = m_client->Start("Message", "the last one");
    EXPECT_TRUE(RunUntil([&] { return m_endpoint->m_events.back() == "message the last one"; }));
    APartnerThatWritesOnceTheEndpointEnds partner(sd_bus_get_fd(m_client->Channel()));

    EndEndpoint();

    EXPECT_EQ(1, partner.Written());
    m_client->ReadAgain();
    EXPECT_EQ("the last one", m_client->Wait(answer).body);
}

TEST_P(AChannelToAnEndpoint, LeavesNothingBehind) {
    m_client.reset();
    m_other->Message("until that is seen");
    RunWhatIsReady();
    const ProcessState before = ProcessState::Now();

    for (int time = 0; time < 10; ++time) {
        auto client = NewDirectClient();
        const std::string name = client->Name();
        client.reset();
        ASSERT_TRUE(RunUntil([&] { return m_endpoint->m_events.back() == "gone " + name; }));
        RunWhatIsReady();
    }

    EXPECT_EQ(before, ProcessState::Now());
}

// ---- A bus that its endpoint leaves, and comes back to ------------------------------------------

class AChannelWhoseEndpointLeavesTheBus : public AChannelToAnEndpoint {
protected:
    AChannelWhoseEndpointLeavesTheBus() {
        const FailingBusCall noMemory(BusCall::AddMatch, -ENOMEM);
        m_other->Connect();
        EXPECT_TRUE(RunUntil([] { return ErrorsLogged("lost the bus") > 0; }));
        m_client->m_arrivals.clear();
    }

    void AwaitItsReturn() {
        ASSERT_TRUE(RunUntil([] { return InfosLogged("back on") > 0; })) << WholeLog();
    }

    // Connections to the bus; meanwhile the loop does not run.
    std::vector<UniqueBus> NewConnections(int count) const {
        std::vector<UniqueBus> connections;
        while (count-- > 0) {
            sd_bus* made = nullptr;
            EXPECT_GE(sd_bus_new(&made), 0);
            connections.emplace_back(made);
            EXPECT_GE(sd_bus_set_address(made, m_bus.Address().c_str()), 0);
            EXPECT_GE(sd_bus_set_bus_client(made, 1), 0);
            EXPECT_GE(sd_bus_start(made), 0);
            const char* name = nullptr;
            EXPECT_GE(sd_bus_get_unique_name(made, &name), 0);
        }
        return connections;
    }

    Strings Reports() const {
        Strings reports;
        std::copy_if(m_endpoint->m_events.begin(), m_endpoint->m_events.end(),
                     std::back_inserter(reports),
                     [](const std::string& event) { return event.rfind("message", 0) != 0; });
        return reports;
    }

    const std::string m_name = m_client->Name();
};

ON_EVERY_BUS(AChannelWhoseEndpointLeavesTheBus);

TEST_P(AChannelWhoseEndpointLeavesTheBus, CarriesCallsAndNotificationsMeanwhile) {
    m_bus.Stop();
    m_endpoint->Tell("news");

    EXPECT_EQ("hello", m_client->Message("hello").body);

    EXPECT_EQ((Strings{"notification news", "reply Message"}), m_client->m_arrivals);
    m_bus.Continue();
}

TEST_P(AChannelWhoseEndpointLeavesTheBus, GoesOnWhenItIsBack) {
    AwaitItsReturn();
    m_endpoint->Tell("news");

    EXPECT_EQ("hello", m_client->Message("hello").body);

    EXPECT_EQ((Strings{"notification news", "reply Message"}), m_client->m_arrivals);
    EXPECT_EQ(Strings{"ready " + m_name}, Reports());
}

TEST_P(AChannelWhoseEndpointLeavesTheBus, EndsWhenItsPartnerLeavesTheBusMeanwhile) {
    const TestFd end(dup(sd_bus_get_fd(m_client->Channel())));
    m_client.reset();

    AwaitItsReturn();

    EXPECT_TRUE(RunUntilReadable(end.Get()));
    EXPECT_TRUE(RunUntil([this] { return Reports().back() == "gone " + m_name; }));
}

TEST_P(AChannelWhoseEndpointLeavesTheBus, EndsWhenItsPartnerLeavesTheBusLater) {
    const TestFd end(dup(sd_bus_get_fd(m_client->Channel())));
    AwaitItsReturn();
    m_client->Message("hello");

    m_client.reset();

    EXPECT_TRUE(RunUntilReadable(end.Get()));
    EXPECT_TRUE(RunUntil([this] { return Reports().back() == "gone " + m_name; }));
}

TEST_P(AChannelWhoseEndpointLeavesTheBus, IsTheOnlyWayToItsPartnerMeanwhile) {
    m_bus.Stop();

    m_client->LeaveChannel();

    EXPECT_TRUE(RunUntil([this] { return Reports().back() == "gone " + m_name; }));
    m_bus.Continue();
}

TEST_P(AChannelWhoseEndpointLeavesTheBus, MayConnectAndDisconnectMeanwhile) {
    m_bus.Stop();
    m_client->Disconnect();
    m_client->Connect();
    m_bus.Continue();
    AwaitItsReturn();

    m_client.reset();

    EXPECT_TRUE(RunUntil([this] { return Reports().size() == 4; }));
    EXPECT_EQ((Strings{"ready " + m_name, "gone " + m_name, "ready " + m_name, "gone " + m_name}),
              Reports());
}

// There others have the same names.
TEST_P(AChannelWhoseEndpointLeavesTheBus, EndsWhenAnotherBusIsThere) {
    m_bus.Kill();
    m_bus.Start();
    const std::vector<UniqueBus> namesakes = NewConnections(8);

    AwaitItsReturn();

    EXPECT_TRUE(RunUntil([&] { return HasEnded(*m_client); }));
    EXPECT_EQ((Strings{"ready " + m_name, "gone " + m_name}), Reports());
}

TEST_P(AChannelWhoseEndpointLeavesTheBus, EndsWhenAnotherHasTheNameMeanwhile) {
    const std::vector<UniqueBus> thief = NewConnections(1);
    ASSERT_GE(sd_bus_request_name(thief.front().get(), kApplistName, 0), 0);

    EXPECT_TRUE(RunUntil([&] { return HasEnded(*m_client); }));

    EXPECT_EQ((Strings{"ready " + m_name, "gone " + m_name}), Reports());
}

TEST_P(AChannelToAnEndpoint, NoticesNothingOfABusThatIsStuck) {
    m_bus.Stop();
    m_endpoint->Tell("news");
    ASSERT_TRUE(RunUntil([] { return ErrorsLogged("takes nothing more") > 0; }));
    EXPECT_EQ("hello", m_client->Message("hello").body);
    m_bus.Continue();
    ASSERT_TRUE(RunUntil([] { return InfosLogged("back on") > 0; })) << WholeLog();

    EXPECT_EQ("hello again", m_client->Message("hello again").body);

    EXPECT_EQ((Strings{"ready " + m_client->Name(), "message hello", "message hello again"}),
              m_endpoint->m_events);
}

// ---- A partner that does not read ---------------------------------------------------------------

class AChannelThatNobodyReads : public AChannelToAnEndpoint {
protected:
    AChannelThatNobodyReads() {
        m_client->m_arrivals.clear();
        m_client->StopReading();
    }

    void TellNumbers(int count) {
        for (int number = 0; number < count; ++number) {
            m_endpoint->Tell(std::to_string(number), m_client->Name());
        }
    }
};

ON_EVERY_BUS(AChannelThatNobodyReads);

// What the kernel keeps is bounded by the send buffer, which takes a quarter of that.
TEST_P(AChannelThatNobodyReads, CostsNoMoreThanHalfAMegabyte) {
    m_endpoint->Tell("first");
    const std::size_t before = HeapInUse();
    for (int number = 0; number < 20000; ++number) {
        m_endpoint->Tell("event " + std::to_string(number) + std::string(200, '.'),
                         m_client->Name());
    }

    EXPECT_LT(HeapInUse() - before, (512 - 128) * kKilobyte);
    EXPECT_EQ("hello", m_other->Message("hello").body);
}

TEST_P(AChannelThatNobodyReads, KeepsNobodyElseWaiting) {
    for (int number = 0; number < 1000; ++number) m_client->Start("Message", "unread");

    EXPECT_EQ("hello", m_other->Message("hello").body);

    m_client->ReadAgain();
    EXPECT_EQ("the end", m_client->Message("the end").body);
}

// As soon, not after a while: a partner that has read a list asks for the selection next.
TEST_P(AChannelThatNobodyReads, GoesOnAsSoonAsALargeReplyIsRead) {
    m_client->StartFd(MemfdOf(std::string(300 * kKilobyte, '.')).Get());
    const BusClient::PendingAnswer next = m_client->Start("Message", "next");
    m_other->Message("hello");
    ASSERT_NE("message next", m_endpoint->m_events.back());

    m_client->ReadAgain();
    RunWhatIsReady();

    EXPECT_EQ("next", next->body);
}

TEST_P(AChannelThatNobodyReads, HoldsFewDescriptors) {
    std::size_t executed = 0;
    m_endpoint->m_answer = [&](const std::string& request) {
        executed += request == "a descriptor";
        return request;
    };
    std::vector<BusClient::PendingAnswer> answers;
    for (int number = 0; number < 100; ++number) {
        answers.push_back(m_client->StartFd(MemfdOf("a descriptor").Get()));
        m_other->Message("hello");
    }

    EXPECT_EQ(applist::transport_limits::kMaxUnreadFds, executed);

    m_client->ReadAgain();
    for (const BusClient::PendingAnswer& answer : answers) {
        EXPECT_EQ("", m_client->Wait(answer).error);
    }
    EXPECT_EQ(100u, executed);
}

TEST_P(AChannelThatNobodyReads, TellsThatNotificationsWereLost) {
    TellNumbers(20000);
    m_client->ReadAgain();
    m_client->Message("the end");

    const Strings& arrivals = m_client->m_arrivals;
    EXPECT_LT(arrivals.size(), 5000u);
    const auto lost = std::find(arrivals.begin(), arrivals.end(), "lost");
    ASSERT_NE(arrivals.end(), lost);
    EXPECT_EQ("notification 19999", *(lost - 1)) << "behind what was not lost";
    EXPECT_EQ(1, std::count(arrivals.begin(), arrivals.end(), "lost"));
    EXPECT_EQ(1u, ErrorsLogged("channel takes nothing more")) << WholeLog();
}

TEST_P(AChannelThatNobodyReads, LosesNothingWhileLittleWaits) {
    TellNumbers(500);
    m_client->ReadAgain();
    m_client->Message("the end");

    EXPECT_EQ(501u, m_client->m_arrivals.size());
    EXPECT_EQ("notification 499", m_client->m_arrivals[499]);
}

// ---- Turns --------------------------------------------------------------------------------------

// Each takes as many turns as the other.
TEST_P(AChannelToAnEndpoint, TakesTurnsWithTheBus) {
    m_other->Message("until the bus has nothing more for the endpoint");
    m_bus.WaitUntilIdle();
    RunWhatIsReady();
    for (int number = 0; number < 100; ++number) m_client->Start("Message", "flood");
    const auto answer = m_other->Start("Message", "other");
    m_bus.WaitUntilIdle();
    m_endpoint->m_events.clear();

    EXPECT_EQ("other", m_other->Wait(answer).body);

    const Strings& events = m_endpoint->m_events;
    EXPECT_LE(std::find(events.begin(), events.end(), "message other") - events.begin(), 3);
}
