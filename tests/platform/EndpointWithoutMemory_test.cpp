// SPDX-License-Identifier: MIT

// Each allocation of the endpoint that fails in turn: a call is executed, its notification sent and
// its caller told; or it is not executed, and its caller told; or the connection ends, and everyone
// is told by that.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "bus/BusSelection.h"
#include "ipc/TesselDbusLocal.h"
#include "support/BusClient.h"
#include "support/EveryBus.h"
#include "support/RecordingAllocator.h"
#include "support/TestLoop.h"

namespace {

using recording::FailingAllocation;

constexpr char kName[] = "org.tessel.Local.Applist";

// Notifies everyone of each request, and answers with it. Allocates nothing of its own.
class Crier : public TesselDbusLocal {
public:
    Crier() : TesselDbusLocal("Applist") {}

    std::vector<char> HandleMessage(std::vector<char>& data) override {
        ++m_executed;
        SendNotification(data);
        return std::move(data);
    }
    void HandleNotification(std::vector<char>& data) override { SendNotification(data); }
    void HandleConnectionReady(bool, const std::string&) override {}

    int m_executed = 0;
};

class AnEndpointWithoutMemory : public ::testing::TestWithParam<BusVariety> {
protected:
    AnEndpointWithoutMemory() {
        applist::SelectBusAddress(m_bus.Address());
        m_endpoint = std::make_unique<Crier>();
        m_client = std::make_unique<BusClient>(m_bus.Address());
        m_client->Subscribe();
    }

    ~AnEndpointWithoutMemory() override {
        m_endpoint.reset();
        applist::SelectBus(applist::BusKind::Automatic);
    }

    // Runs `work` and then what is ready, the client's share not: its memory never fails. Returns
    // whether the `nth` allocation was made.
    template <class Work>
    bool RunWithout(std::size_t nth, Work work) {
        sd_bus_detach_event(m_client->Bus());
        m_bus.WaitUntilIdle();
        bool hasFailed = false;
        {
            const FailingAllocation failure(nth);
            work();
            RunWhatIsReady();
            hasFailed = failure.HasFailed();
        }
        sd_bus_attach_event(m_client->Bus(), TestLoop(), SD_EVENT_PRIORITY_NORMAL);
        return hasFailed;
    }

    // Whether the endpoint has been on the bus all the time since this was asked last. When not, it
    // is back now.
    bool HasStayed() {
        EXPECT_TRUE(m_client->WaitForOwner(kName));
        EXPECT_EQ("hello", m_client->Message("hello").body);
        const std::string owner = Owner();
        const bool hasStayed = owner == m_owner;
        m_owner = owner;
        return hasStayed;
    }

    std::string Owner() {
        return m_client
            ->Wait(m_client->StartAny(
                "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                "GetNameOwner",
                [](sd_bus_message* call) { return sd_bus_message_append(call, "s", kName); }))
            .body;
    }

    std::ptrdiff_t Heard(const std::string& notification) const {
        return std::count(m_client->m_arrivals.begin(), m_client->m_arrivals.end(),
                          "notification " + notification);
    }

    // A call of `member` is made whole, or not at all, or the connection ends.
    void ExpectWholeCalls(const char* member, std::ptrdiff_t notifications) {
        HasStayed();
        bool hasFailed = true;
        for (std::size_t nth = 1; hasFailed; ++nth) {
            const std::string body =
                "a body too long to live inside a string, " + std::to_string(nth);
            const BusClient::PendingAnswer pending = m_client->Start(member, body);
            hasFailed = RunWithout(nth, [] {});
            const Answer answer = m_client->Wait(pending);
            const bool hasStayed = HasStayed();
            if (answer.error.empty()) {
                EXPECT_TRUE(Heard(body) == notifications || !hasStayed) << member << " " << nth;
            } else if (hasStayed) {
                EXPECT_EQ(0, Heard(body)) << member << " " << nth << " " << answer.error;
            }
        }
    }

    PrivateBus m_bus{GetParam()};
    std::unique_ptr<Crier> m_endpoint;
    std::unique_ptr<BusClient> m_client;
    std::string m_owner;
};

ON_EVERY_BUS(AnEndpointWithoutMemory);

TEST_P(AnEndpointWithoutMemory, ExecutesAMessageWholeOrNotAtAll) {
    ExpectWholeCalls("Message", 1);
}

TEST_P(AnEndpointWithoutMemory, ExecutesANotificationWholeOrNotAtAll) {
    ExpectWholeCalls("Notify", 1);
}

TEST_P(AnEndpointWithoutMemory, NotifiesEveryoneOrEndsTheConnection) {
    HasStayed();
    bool hasFailed = true;
    for (std::size_t nth = 1; hasFailed; ++nth) {
        std::string body = "a body too long to live inside a string, " + std::to_string(nth);
        std::vector<char> bytes(body.begin(), body.end());
        hasFailed = RunWithout(nth, [&] { m_endpoint->SendNotification(bytes); });

        const bool hasStayed = HasStayed();

        EXPECT_TRUE(Heard(body) == 1 || !hasStayed) << nth;
    }
}

}  // namespace
