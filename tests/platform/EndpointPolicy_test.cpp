// SPDX-License-Identifier: MIT

// A bus that is shared by users who do not trust each other, as a system bus is: nothing is allowed
// but what its policy lets through.

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

#include "bus/BusSelection.h"
#include "bus/TransportError.h"
#include "support/CapturedLog.h"
#include "support/EndpointTest.h"

using applist::BusKind;
using applist::SelectBus;
using applist::SelectBusAddress;
using applist::TransportError;

namespace {

// What a system bus allows by itself.
const char kSystemDefaults[] =
    "<policy context=\"default\">"
    "<allow user=\"*\"/><deny own=\"*\"/><deny send_type=\"method_call\"/>"
    "<allow send_type=\"signal\"/>"
    "<allow send_requested_reply=\"true\" send_type=\"method_return\"/>"
    "<allow send_requested_reply=\"true\" send_type=\"error\"/>"
    "<allow receive_type=\"method_call\"/><allow receive_type=\"method_return\"/>"
    "<allow receive_type=\"error\"/><allow receive_type=\"signal\"/>"
    "<allow send_destination=\"org.freedesktop.DBus\"/>"
    "</policy>";

std::string OwnUser() {
    const struct passwd* user = getpwuid(getuid());
    return user == nullptr ? std::to_string(getuid()) : user->pw_name;
}

std::string Policy(const std::string& user, const std::string& rules) {
    return "<policy user=\"" + user + "\">" + rules + "</policy>";
}

const char kMayOwn[] = "<allow own=\"org.tessel.Local.Applist\"/>";
const char kMayCall[] = "<allow send_destination=\"org.tessel.Local.Applist\"/>";

// In a child that is `uid` now: calls the endpoint and says on stdout how that went.
[[noreturn]] void CallAndSay(const std::string& address) {
    sd_bus* bus = nullptr;
    sd_bus_error error = SD_BUS_ERROR_NULL;
    sd_bus_message* reply = nullptr;
    sd_bus_new(&bus);
    sd_bus_set_address(bus, address.c_str());
    sd_bus_set_bus_client(bus, 1);
    if (sd_bus_start(bus) < 0) {
        dprintf(STDOUT_FILENO, "not on the bus");
    } else if (sd_bus_call_method(bus, kApplistName, kApplistPath, kApplistInterface, "Message",
                                  &error, &reply, "ay", 2, 'h', 'i') < 0) {
        dprintf(STDOUT_FILENO, "%s", error.name == nullptr ? "no error name" : error.name);
    } else {
        dprintf(STDOUT_FILENO, "answered");
    }
    _exit(0);
}

// Runs CallAndSay as another user, and the loop meanwhile; returns what it said.
std::string CallAs(uid_t uid, const std::string& address) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return "no pipe";
    const TestFd said(ends[0]);
    const pid_t child = fork();
    if (child == 0) {
        if (dup2(ends[1], STDOUT_FILENO) < 0 || setgroups(0, nullptr) != 0 || setgid(uid) != 0 ||
            setuid(uid) != 0) {
            _exit(1);
        }
        CallAndSay(address);
    }
    close(ends[1]);
    if (!RunUntilReadable(said.Get())) kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    char words[256];
    const ssize_t length = read(said.Get(), words, sizeof(words));
    return length > 0 ? std::string(words, static_cast<std::size_t>(length)) : "it said nothing";
}

}  // namespace

class AnEndpointOnASystemBus : public ::testing::TestWithParam<BusProgram> {
protected:
    void StartBus(const std::string& policies) {
        m_bus = std::make_unique<PrivateBus>(GetParam(), kSystemDefaults + policies);
        SelectBusAddress(m_bus->Address());
    }

    ~AnEndpointOnASystemBus() override { SelectBus(BusKind::Automatic); }

    std::unique_ptr<PrivateBus> m_bus;
};

INSTANTIATE_TEST_SUITE_P(OnBothBuses, AnEndpointOnASystemBus,
                         ::testing::Values(BusProgram::Daemon, BusProgram::Broker),
                         [](const ::testing::TestParamInfo<BusProgram>& parameter) {
                             return std::string(parameter.param == BusProgram::Daemon
                                                    ? "DbusDaemon"
                                                    : "DbusBroker");
                         });

TEST_P(AnEndpointOnASystemBus, SaysThatThePolicyRefusesItsName) {
    StartBus("");

    std::string why;
    try {
        const RecordingEndpoint endpoint;
    } catch (const TransportError& error) {
        why = error.what();
    }

    EXPECT_EQ("cannot own org.tessel.Local.Applist on the bus at " + m_bus->Address() +
                  ": the bus's policy does not allow it; install a policy that lets this user own "
                  "the name",
              why);
}

TEST_P(AnEndpointOnASystemBus, ComesUpWhereThePolicyGivesItsUserTheName) {
    StartBus(Policy(OwnUser(), std::string(kMayOwn) + kMayCall));
    const RecordingEndpoint endpoint;
    BusClient client(m_bus->Address());

    EXPECT_EQ("a call", client.Message("a call").body);
}

TEST_P(AnEndpointOnASystemBus, IsNotReachedByItsOwnUserWithoutARule) {
    StartBus(Policy(OwnUser(), kMayOwn));
    const RecordingEndpoint endpoint;
    BusClient client(m_bus->Address());

    EXPECT_EQ("org.freedesktop.DBus.Error.AccessDenied", client.Message("a call").error);
    EXPECT_EQ(Strings{}, endpoint.m_events);
}

TEST_P(AnEndpointOnASystemBus, ReachesAPartnerWithNotificationsOfItsOwn) {
    StartBus(Policy(OwnUser(), std::string(kMayOwn) + kMayCall));
    RecordingEndpoint endpoint;
    BusClient client(m_bus->Address());
    client.Subscribe();
    client.m_arrivals.clear();

    endpoint.Tell("for all");
    endpoint.Tell("for you", client.Name());

    EXPECT_TRUE(RunUntil([&] { return client.m_arrivals.size() == 2; }));
    EXPECT_EQ((Strings{"notification for all", "notification for you"}), client.m_arrivals);
}

// The two that follow become another user, which takes root.

TEST_P(AnEndpointOnASystemBus, IsNotReachedByAnotherUser) {
    ASSERT_EQ(0u, geteuid()) << "this test calls as another user: run it as root";
    StartBus(Policy("root", std::string(kMayOwn) + kMayCall));
    const RecordingEndpoint endpoint;

    EXPECT_EQ("org.freedesktop.DBus.Error.AccessDenied", CallAs(65534, m_bus->Address()));

    EXPECT_EQ(Strings{}, endpoint.m_events);
}

TEST_P(AnEndpointOnASystemBus, IsReachedByAnotherUserWhomThePolicyLetsIn) {
    ASSERT_EQ(0u, geteuid()) << "this test calls as another user: run it as root";
    StartBus(Policy("root", std::string(kMayOwn) + kMayCall) + Policy("nobody", kMayCall));
    const RecordingEndpoint endpoint;

    EXPECT_EQ("answered", CallAs(65534, m_bus->Address()));

    EXPECT_EQ(Strings{"message hi"}, endpoint.m_events);
}
