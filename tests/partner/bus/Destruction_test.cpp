// SPDX-License-Identifier: MIT

// A partner is destroyed right after a write, or from inside its own waiting; and what it may not
// do from inside.

#include <sys/time.h>

#include <algorithm>
#include <csignal>
#include <future>
#include <optional>
#include <thread>

#include "bus/SdBus.h"
#include "partner/bus/BareRemote.h"
#include "partner/bus/HostileService.h"
#include "partner/bus/PartnerBusTest.h"
#include "remote/RemoteLimits.h"

using applist::RemoteError;

namespace {

// Sees whom calls on the bus come from.
class Monitor {
public:
    explicit Monitor(const std::string& address) {
        sd_bus* made = nullptr;
        EXPECT_GE(sd_bus_new(&made), 0);
        m_bus.reset(made);
        EXPECT_GE(sd_bus_set_address(made, address.c_str()), 0);
        EXPECT_GE(sd_bus_set_bus_client(made, 1), 0);
        EXPECT_GE(sd_bus_set_monitor(made, 1), 0);
        EXPECT_GE(sd_bus_start(made), 0);
        EXPECT_GE(sd_bus_add_filter(made, nullptr, OnMessage, this), 0);
        EXPECT_GE(sd_bus_call_method(made, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                     "org.freedesktop.DBus.Monitoring", "BecomeMonitor", nullptr,
                                     nullptr, "asu", 0, 0),
                  0);
    }

    // The members that were called until `partner` left the bus, or was still there in the end.
    std::vector<std::string> CallsUntilTheEndOf(const std::string& partner) {
        m_left = partner;
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (!m_left.empty() && std::chrono::steady_clock::now() < deadline) {
            if (sd_bus_process(m_bus.get(), nullptr) == 0) sd_bus_wait(m_bus.get(), 10000);
        }
        EXPECT_EQ("", m_left) << "still there";
        return std::exchange(m_calls, {});
    }

private:
    static int OnMessage(sd_bus_message* message, void* userdata, sd_bus_error*) {
        Monitor* const monitor = static_cast<Monitor*>(userdata);
        const char* const member = sd_bus_message_get_member(message);
        const char* const sender = sd_bus_message_get_sender(message);
        if (sender != nullptr && monitor->m_left == sender &&
            sd_bus_message_is_method_call(message, nullptr, nullptr) > 0) {
            monitor->m_calls.emplace_back(member);
        }
        const char* name = nullptr;
        const char* before = nullptr;
        const char* now = nullptr;
        if (sd_bus_message_is_signal(message, "org.freedesktop.DBus", "NameOwnerChanged") > 0 &&
            sd_bus_message_read(message, "sss", &name, &before, &now) >= 0 &&
            monitor->m_left == name && *now == '\0') {
            monitor->m_left.clear();
        }
        return 1;
    }

    applist::UniqueBus m_bus;
    std::vector<std::string> m_calls;
    std::string m_left;
};

// A thousand signals a second, as of a profiler, for as long as it lives.
class Interruptions {
public:
    Interruptions() {
        struct sigaction action = {};
        action.sa_handler = [](int) {};
        sigaction(SIGALRM, &action, &m_before);
        Every(1000);
    }
    ~Interruptions() {
        Every(0);
        sigaction(SIGALRM, &m_before, nullptr);
    }

private:
    static void Every(suseconds_t time) {
        const itimerval timer = {{0, time}, {0, time}};
        setitimer(ITIMER_REAL, &timer, nullptr);
    }

    struct sigaction m_before = {};
};

}  // namespace

class ADestroyedPartner : public PartnerBusTest {
protected:
    void Write(int count, const std::string& name = "Written") {
        RemoteAppListItem item(name, "written");
        for (; count > 0; --count) m_model->AddItemAtEnd(&item);
    }

    // The bus stands until the partner is gone, or has waited for a while.
    void EndPartnerWhileTheBusStands() {
        std::promise<void> ended;
        std::thread bus([this, end = ended.get_future()] {
            end.wait_for(milliseconds(200));
            m_bus->Continue();
        });
        EndPartner();
        ended.set_value();
        bus.join();
    }
};

ON_BOTH_BUSES(ADestroyedPartner);

// A bus may forget what it has not read of a connection that is closed. These are so large that it
// reads them for a while.
TEST_P(ADestroyedPartner, HasSentItsWritesAlsoWhenTheBusReadsThemLate) {
    StartService();
    StartPartner();
    m_model->Synchronize();

    m_bus->Stop();
    Write(60, std::string(30000, 'x'));
    EndPartnerWhileTheBusStands();

    StartPartner();
    EXPECT_TRUE(RunUntil([this] { return m_model->GetItemsCount() == 60; }));
}

TEST_P(ADestroyedPartner, HasSentItsWritesAlsoWhenSignalsInterruptTheWaitForTheBus) {
    StartService();
    StartPartner();
    m_model->Synchronize();

    m_bus->Stop();
    Write(60, std::string(30000, 'x'));
    {
        const Interruptions interruptions;
        EndPartnerWhileTheBusStands();
    }

    StartPartner();
    EXPECT_TRUE(RunUntil([this] { return m_model->GetItemsCount() == 60; }));
}

// Nobody waits for its answers, and the bus keeps the calls; but no more than the service takes
// from one partner at a time, two of which are the reads of the list and the selection.
TEST_P(ADestroyedPartner, HasSentSixtyThreeCallsToAServiceThatStands) {
    StartService();
    StartPartner();
    m_model->Synchronize();

    m_service->Stop();
    Write(300);
    EndPartner();
    m_service->Continue();

    StartPartner();
    EXPECT_TRUE(RunUntil([this] { return m_model->GetItemsCount() == 61; }));
    EXPECT_EQ(1u, ErrorsLogged("calls lost, because they could not be sent: 239"));
}

TEST_P(ADestroyedPartner, HasSentManyMoreWritesThanMayBeUnderWay) {
    StartService();
    StartPartner();
    m_model->Synchronize();

    Write(10000);
    EndPartner();

    StartPartner();
    EXPECT_TRUE(RunUntil([this] { return m_model->GetItemsCount() == 10000; }));
}

TEST_P(ADestroyedPartner, HasSentManyWritesAlsoWhenSignalsInterruptTheWaitForTheService) {
    StartService();
    StartPartner();
    m_model->Synchronize();

    Write(10000);
    {
        const Interruptions interruptions;
        EndPartner();
    }

    StartPartner();
    EXPECT_TRUE(RunUntil([this] { return m_model->GetItemsCount() == 10000; }));
}

TEST_P(ADestroyedPartner, HasSentItsWritesEachTime) {
    StartService();
    int expected = 0;
    for (int round = 0; round < 40; ++round) {
        StartPartner();
        m_model->Synchronize();
        const int writes = 1 + round * 7 % 70;
        Write(writes);
        EndPartner();
        expected += writes;

        StartPartner();
        ASSERT_TRUE(RunUntil([&] { return m_model->GetItemsCount() == expected; })) << round;
        EndPartner();
    }
}

// It cannot answer while the partner waits for it.
TEST_P(ADestroyedPartner, HasSentItsWritesAlsoToAServiceOnItsOwnThread) {
    StartServiceHere();
    StartPartner();
    ASSERT_TRUE(RunUntil([] { return NewsLogged("over a direct channel") == 1; }));
    Write(60);

    EndPartner();

    EXPECT_TRUE(RunUntil([this] { return m_list.GetItemsCount() == 60; }));
}

// The answer that Synchronize waits for is there, and behind it a change whose listener destroys
// the model.
TEST_P(ADestroyedPartner, IsNotUsedAgainByASynchronizeThatHasItsAnswer) {
    m_service.emplace("reorderer", m_bus->Address());
    StartPartner();
    m_witness->m_onTold = [this](const std::string&) {
        if (DigestOf(*m_model) != "Second/second ()") return;
        m_witness->Forget();
        m_model.reset();
    };

    EXPECT_THROW(m_model->Synchronize(), RemoteError);

    EXPECT_FALSE(m_model);
}

// One that only follows, as a model does when it is at rest.
class ADestroyedRemote : public PartnerBusTest {
protected:
    ADestroyedRemote() {
        EXPECT_TRUE(RunUntil([&] { return m_remote->m_isReady; }));
        m_remote->Ask();
        EXPECT_TRUE(RunUntil([&] { return !m_remote->m_outcomes.empty(); }));
        m_monitor.emplace(m_bus->Address());
    }

    std::vector<std::string> CallsAtTheEnd() {
        m_remote.reset();
        return m_monitor->CallsUntilTheEndOf(m_service.m_lastCaller);
    }

    HostileService m_service{m_bus->Address()};
    std::unique_ptr<BareRemote> m_remote = std::make_unique<BareRemote>();
    std::optional<Monitor> m_monitor;
};

ON_BOTH_BUSES(ADestroyedRemote);

TEST_P(ADestroyedRemote, GoesWithoutAWordWhenItHasNothingToSend) {
    EXPECT_EQ(std::vector<std::string>{}, CallsAtTheEnd());
}

TEST_P(ADestroyedRemote, WaitsUntilTheBusHasReadTheLastCall) {
    m_remote->Ask();

    EXPECT_EQ((std::vector<std::string>{"Message", "GetId"}), CallsAtTheEnd());
}

// ---- From inside --------------------------------------------------------------------------------

class ARemoteThatIsCalled : public PartnerBusTest {
protected:
    static constexpr std::size_t kUnderWay = applist::remote_limits::kMaxCallsUnderWay;

    std::size_t CountOutcomes(const std::string& outcome) const {
        return static_cast<std::size_t>(
            std::count(m_remote.m_outcomes.begin(), m_remote.m_outcomes.end(), outcome));
    }

    HostileService m_hostile{m_bus->Address()};
    BareRemote m_remote;
};

ON_BOTH_BUSES(ARemoteThatIsCalled);

TEST_P(ARemoteThatIsCalled, KnowsWhatItHadNotSentWhenTheBusDies) {
    m_hostile.m_answerList = [](sd_bus_message*) { return 0; };
    ASSERT_TRUE(RunUntil([&] { return m_remote.m_isReady; }));
    for (int count = 0; count < 100; ++count) m_remote.Ask();
    ASSERT_TRUE(RunUntil([&] { return m_hostile.CountOf("Message") == kUnderWay; }));

    m_bus->Kill();

    ASSERT_TRUE(RunUntil([&] { return m_remote.m_outcomes.size() == 100; }));
    EXPECT_EQ(kUnderWay, CountOutcomes("OutcomeUnknown"));
    EXPECT_EQ(100 - kUnderWay, CountOutcomes("NoService"));
}

TEST_P(ARemoteThatIsCalled, SendsNothingWhenItMayNotWaitForTheAnswer) {
    std::string cause;
    m_remote.m_onNotification = [&] {
        std::vector<char> request = BareRemote::Question();
        try {
            m_remote.SendMessage(request);
            cause = "none";
        } catch (const RemoteError& error) {
            cause = NameOf(error.GetCause());
        }
    };
    ASSERT_TRUE(RunUntil([&] { return m_remote.m_isReady; }));
    m_hostile.TellOfChange();
    ASSERT_TRUE(RunUntil([&] { return !cause.empty(); }));
    EXPECT_EQ("Failed", cause);

    m_remote.Ask();
    ASSERT_TRUE(RunUntil([&] { return !m_remote.m_outcomes.empty(); }));

    EXPECT_EQ(1u, m_hostile.CountOf("Message")) << "it sent what it had refused to send";
}
