// SPDX-License-Identifier: MIT

// How an endpoint comes to be, or says why it cannot, and what it leaves behind.

#include <sys/prctl.h>
#include <unistd.h>

#include "bus/BusSelection.h"
#include "bus/TransportError.h"
#include "support/CapturedLog.h"
#include "support/EndpointTest.h"
#include "support/ProcessState.h"
#include "support/SilentBus.h"

using applist::BusKind;
using applist::SelectBus;
using applist::SelectBusAddress;
using applist::TransportError;

namespace {

// Builds an endpoint and returns why that failed.
std::string WhyNoEndpoint(const std::string& name = "Applist") {
    try {
        const RecordingEndpoint endpoint(name);
    } catch (const TransportError& error) {
        return error.what();
    }
    return "it came up";
}

#define EXPECT_CONTAINS(text, part) \
    EXPECT_NE(std::string::npos, (text).find(part)) << "in: " << (text)

}  // namespace

class AnEndpointThatCannotStart : public EndpointTest {
protected:
    AnEndpointThatCannotStart() { EndEndpoint(); }
};

ON_EVERY_BUS(AnEndpointThatCannotStart);

TEST_P(AnEndpointThatCannotStart, NamesTheProcessThatHasTheNameAlready) {
    const auto owner = NewClient();
    ASSERT_TRUE(owner->Own(kApplistName));
    char command[16] = "";
    prctl(PR_GET_NAME, command);

    const std::string why = WhyNoEndpoint();

    EXPECT_EQ("cannot own org.tessel.Local.Applist on the bus at " + m_bus.Address() +
                  ": it is taken by process " + std::to_string(getpid()) + " (" + command +
                  "); stop that process first",
              why);
}

TEST_P(AnEndpointThatCannotStart, NamesTheBusThatIsNotThere) {
    m_bus.Kill();

    const std::string why = WhyNoEndpoint();

    EXPECT_CONTAINS(why, "cannot reach the bus at " + m_bus.Address());
    EXPECT_CONTAINS(why, "Connection refused");
    EXPECT_CONTAINS(why, "check that the bus is running");
}

TEST_P(AnEndpointThatCannotStart, SaysThatItsNameIsNotValid) {
    for (const char* name : {"", "two.parts", "a/path", "1digit", "blank space", "gr\xc3\xbcn"}) {
        EXPECT_CONTAINS(WhyNoEndpoint(name), "is not a valid endpoint name") << name;
    }
}

TEST_P(AnEndpointThatCannotStart, SaysThatANameWithANulInItIsNotValid) {
    EXPECT_CONTAINS(WhyNoEndpoint(std::string("Applist\0.", 9)),
                    "\"Applist\\x00.\" is not a valid endpoint name");
}

TEST_P(AnEndpointThatCannotStart, LeavesNeitherDescriptorNorEventSource) {
    const auto owner = NewClient();
    ASSERT_TRUE(owner->Own(kApplistName));
    WhyNoEndpoint();
    const ProcessState before = ProcessState::Now();

    WhyNoEndpoint();
    WhyNoEndpoint("no name");

    EXPECT_EQ(before, ProcessState::Now());
}

TEST_P(AnEndpointThatCannotStart, StartsWhenTheCauseIsGone) {
    auto owner = NewClient();
    ASSERT_TRUE(owner->Own(kApplistName));
    WhyNoEndpoint();
    owner.reset();
    const auto client = NewClient();

    NewEndpoint();

    EXPECT_EQ("a call", client->Message("a call").body);
}

TEST(AnEndpointWithoutABus, NamesTheAddressThatIsNotValid) {
    SelectBusAddress("nonsense");

    EXPECT_CONTAINS(WhyNoEndpoint(), "cannot reach the bus at nonsense");
    SelectBus(BusKind::Automatic);
}

TEST(AnEndpointWithoutABus, GivesUpOnOneThatNeverAnswers) {
    char folder[] = "/tmp/applist-silent-XXXXXX";
    ASSERT_NE(nullptr, mkdtemp(folder));
    const std::string path = std::string(folder) + "/bus";
    const SilentBus bus(path);
    SelectBusAddress("unix:path=" + path);
    const ProcessState before = ProcessState::Now();
    const auto start = std::chrono::steady_clock::now();

    const std::string why = WhyNoEndpoint();

    const auto taken = std::chrono::steady_clock::now() - start;
    EXPECT_CONTAINS(why, "cannot reach the bus at unix:path=" + path + ": Connection timed out");
    EXPECT_GE(taken, std::chrono::seconds(5));
    EXPECT_LT(taken, std::chrono::seconds(8));
    EXPECT_EQ(before, ProcessState::Now());
    SelectBus(BusKind::Automatic);
    unlink(path.c_str());
    rmdir(folder);
}

// ---- Coming up ----------------------------------------------------------------------------------

class AnEndpointThatStarts : public EndpointTest {
protected:
    AnEndpointThatStarts() { EndEndpoint(); }
};

ON_EVERY_BUS(AnEndpointThatStarts);

// Whoever sees the name may call at once: the first call that reaches the owner of the name finds
// the object.
TEST_P(AnEndpointThatStarts, HasItsObjectReadyWhenItsNameAppears) {
    const auto client = NewClient();
    NewEndpoint();

    ASSERT_TRUE(client->WaitForOwner(kApplistName));

    EXPECT_EQ("a call", client->Message("a call").body);
}

TEST_P(AnEndpointThatStarts, CallsNoEntryPointBeforeTheLoopRuns) {
    const auto client = NewClient();
    NewEndpoint();
    client->Start("Connect");
    sd_bus_flush(client->Bus());

    EXPECT_EQ(Strings{}, m_endpoint->m_events);
    EXPECT_TRUE(RunUntil([&] { return m_endpoint->m_events.size() == 1; }));
}

TEST_P(AnEndpointThatStarts, LivesBesideAnotherOfAnotherName) {
    const auto client = NewClient();
    NewEndpoint();
    RecordingEndpoint other("Other");

    EXPECT_EQ("a call", client->Message("a call").body);
    EXPECT_EQ(Strings{}, other.m_events);
    const Answer answer = client->Wait(
        client->StartAny("org.tessel.Local.Other", "/org/tessel/Local/Other", kApplistInterface,
                         "Connect", [](sd_bus_message*) { return 0; }));
    EXPECT_EQ("", answer.error) << answer.text;
    EXPECT_EQ(Strings{"ready " + client->Name()}, other.m_events);
}

// What the environment says, on a bus that is there; what it may say is BusSelection_test.cpp's.
TEST_P(AnEndpointThatStarts, FindsTheBusThatStartedTheProgram) {
    SelectBus(BusKind::Automatic);
    setenv("DBUS_STARTER_ADDRESS", m_bus.Address().c_str(), 1);

    NewEndpoint();

    EXPECT_EQ("a call", NewClient()->Message("a call").body);
    unsetenv("DBUS_STARTER_ADDRESS");
}

// ---- Going --------------------------------------------------------------------------------------

class AnEndpointThatEnds : public EndpointTest {
protected:
    AnEndpointThatEnds() { m_client->Subscribe(); }

    // Keeps what the endpoint sends to the client in the endpoint, which sends much.
    void Clog() {
        if (GetParam().withChannels) {
            m_client->StopReading();
        } else {
            m_bus.Stop();
        }
        m_endpoint->Clog();
    }

    // Ends it, and the client of a channel takes part, as one in a process of its own would.
    void End() {
        if (GetParam().withChannels) m_client->ReadAside();
        EndEndpoint();
    }

    // Ends it, and the client goes.
    void EndBoth() {
        m_client.reset();
        EndEndpoint();
        RunWhatIsReady();
    }

    std::unique_ptr<BusClient> m_client = NewClient();
};

ON_EVERY_BUS_AND_OVER_CHANNELS(AnEndpointThatEnds);

// What a bus that is gone does, and one that is still there.
class AnEndpointThatEndsOnTheBus : public AnEndpointThatEnds {};

ON_EVERY_BUS(AnEndpointThatEndsOnTheBus);

TEST_P(AnEndpointThatEnds, StillDeliversWhatItHadJustSent) {
    Strings expected;
    m_client->m_arrivals.clear();
    for (int number = 0; number < 1000; ++number) {
        m_endpoint->Tell(std::to_string(number));
        expected.push_back("notification " + std::to_string(number));
    }

    End();

    EXPECT_TRUE(RunUntil([&] { return m_client->m_arrivals.size() == expected.size(); }));
    EXPECT_EQ(expected, m_client->m_arrivals);
}

TEST_P(AnEndpointThatEnds, StillDeliversTheReplyOfItsLastCall) {
    const BusClient::PendingAnswer answer = m_client->Start("Message", "last");
    RunUntil([&] { return !m_endpoint->m_events.empty(); });

    End();

    EXPECT_EQ("last", m_client->Wait(answer).body);
}

TEST_P(AnEndpointThatEnds, LetsNobodyWaitWhoseCallItHasNotExecuted) {
    const BusClient::PendingAnswer answer = m_client->Start("Message", "too late");
    m_bus.WaitUntilIdle();

    End();

    EXPECT_EQ("org.freedesktop.DBus.Error.NoReply", m_client->Wait(answer).error);
}

TEST_P(AnEndpointThatEnds, WaitsNoLongerThanASecondForABusThatStands) {
    Clog();
    const auto start = std::chrono::steady_clock::now();

    EndEndpoint();

    const auto taken = std::chrono::steady_clock::now() - start;
    EXPECT_GE(taken, std::chrono::milliseconds(900)) << "it did not even try";
    EXPECT_LT(taken, std::chrono::seconds(3));
}

TEST_P(AnEndpointThatEndsOnTheBus, DoesNotWaitForABusThatIsGone) {
    m_endpoint->Clog();
    m_bus.Kill();
    const auto start = std::chrono::steady_clock::now();

    EndEndpoint();

    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(500));
}

// The bus may or may not have noticed when the call gets there; in both cases it answers itself.
TEST_P(AnEndpointThatEndsOnTheBus, LetsNobodyWaitWhoCallsItTooLate) {
    EndEndpoint();

    const std::string error = m_client->Message("too late").error;

    EXPECT_TRUE(error == "org.freedesktop.DBus.Error.ServiceUnknown" ||
                error == "org.freedesktop.DBus.Error.NoReply")
        << error;
}

TEST_P(AnEndpointThatEnds, GivesItsNameFree) {
    End();

    EXPECT_TRUE(m_client->WaitForNoOwner(kApplistName));
    EXPECT_TRUE(m_client->Own(kApplistName));
}

TEST_P(AnEndpointThatEnds, LeavesNeitherDescriptorNorEventSource) {
    EndBoth();
    const ProcessState before = ProcessState::Now();

    NewEndpoint();
    m_client = NewClient();
    m_client->Connect();
    m_client->Message("a call");
    m_client->MessageFd(MemfdOf("a call").Get());
    m_endpoint->Tell("changed");
    m_client->Message("a call");
    EndEndpoint();
    m_client.reset();

    RunWhatIsReady();
    EXPECT_EQ(before, ProcessState::Now());
}

TEST_P(AnEndpointThatEnds, LeavesNothingAlsoWhenItsBusStands) {
    EndBoth();
    const ProcessState before = ProcessState::Now();

    NewEndpoint();
    m_client = NewClient();
    m_client->Connect();
    Clog();
    EndEndpoint();
    m_client.reset();

    EXPECT_EQ(before, ProcessState::Now());
}

TEST_P(AnEndpointThatEnds, LeavesNothingAlsoWhenItsBusIsGone) {
    EndBoth();
    const ProcessState before = ProcessState::Now();

    NewEndpoint();
    m_client = NewClient();
    m_client->Connect();
    m_bus.Kill();
    EXPECT_TRUE(RunUntil([&] { return m_endpoint->m_events.size() == 2; }));
    EndEndpoint();
    m_client.reset();

    EXPECT_EQ(before, ProcessState::Now());
}

// ---- Idling -------------------------------------------------------------------------------------

class AnIdleEndpoint : public EndpointTest {};

ON_EVERY_BUS_AND_OVER_CHANNELS(AnIdleEndpoint);

TEST_P(AnIdleEndpoint, HasNothingToDoAndNoTimerSet) {
    RunWhatIsReady();

    EXPECT_EQ(0u, ArmedTimers());
}

// The questions to the bus have time limits, which go with their answers. The last one is whether
// it has taken everything, a second after it was sent.
TEST_P(AnIdleEndpoint, SetsNoTimerForAPartnerThatIsConnected) {
    auto client = NewClient();
    client->Connect();
    client->Message("a call");
    client->Message("another, for the answers of the bus to come in before it");

    EXPECT_TRUE(RunUntilNoTimerIsSet());
}
