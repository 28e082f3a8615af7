// SPDX-License-Identifier: MIT

#include "support/CapturedLog.h"
#include "support/EndpointTest.h"
#include "support/HeapInUse.h"

namespace {

// "notification 0" to "notification N-1".
Strings Numbered(int count) {
    Strings notifications;
    for (int number = 0; number < count; ++number) {
        notifications.push_back("notification " + std::to_string(number));
    }
    return notifications;
}

}  // namespace

class AnEndpointsNotification : public EndpointTest {
protected:
    std::unique_ptr<BusClient> NewSubscriber() {
        std::unique_ptr<BusClient> client = NewClient();
        client->Subscribe();
        client->m_arrivals.clear();
        return client;
    }

    // Returns what has come in at `client` once everything sent so far is there.
    static Strings ArrivalsAt(BusClient& client) {
        client.Message("the end");
        Strings arrivals = client.m_arrivals;
        if (!arrivals.empty()) arrivals.pop_back();
        return arrivals;
    }
};

ON_EVERY_BUS_AND_OVER_CHANNELS(AnEndpointsNotification);

// Whoever has a channel has asked for everything.
class AnEndpointsNotificationOnTheBus : public AnEndpointsNotification {};

ON_EVERY_BUS(AnEndpointsNotificationOnTheBus);

TEST_P(AnEndpointsNotification, ReachesEveryoneWhoListensWhenItIsForEveryone) {
    const auto one = NewSubscriber();
    const auto other = NewSubscriber();

    m_endpoint->Tell("changed");

    EXPECT_EQ(Strings{"notification changed"}, ArrivalsAt(*one));
    EXPECT_EQ(Strings{"notification changed"}, ArrivalsAt(*other));
}

TEST_P(AnEndpointsNotificationOnTheBus, ReachesNobodyWhoDidNotAskForIt) {
    const auto client = NewClient();

    m_endpoint->Tell("changed");

    EXPECT_EQ(Strings{}, ArrivalsAt(*client));
}

TEST_P(AnEndpointsNotification, ReachesOnlyThePartnerThatItNames) {
    const auto named = NewSubscriber();
    const auto other = NewSubscriber();

    m_endpoint->Tell("for you", named->Name());

    EXPECT_EQ(Strings{"notification for you"}, ArrivalsAt(*named));
    EXPECT_EQ(Strings{}, ArrivalsAt(*other));
}

TEST_P(AnEndpointsNotification, ReachesANamedPartnerThatAskedForNothing) {
    const auto named = NewClient();

    m_endpoint->Tell("for you", named->Name());

    EXPECT_EQ(Strings{"notification for you"}, ArrivalsAt(*named));
}

TEST_P(AnEndpointsNotification, IsASignalOfTheEndpointsObject) {
    const auto client = NewClient();
    std::string seen;
    const auto look = [](sd_bus_message* message, void* userdata, sd_bus_error*) {
        *static_cast<std::string*>(userdata) = std::string(sd_bus_message_get_path(message)) + " " +
                                               sd_bus_message_get_interface(message) + "." +
                                               sd_bus_message_get_member(message) + " " +
                                               sd_bus_message_get_signature(message, 1) + " to " +
                                               sd_bus_message_get_destination(message);
        return 0;
    };
    sd_bus_slot* slot = nullptr;
    ASSERT_GE(sd_bus_add_filter(client->ToEndpoint(), &slot, look, &seen), 0);

    m_endpoint->Tell("for you", client->Name());
    RunUntil([&] { return !client->m_arrivals.empty(); });

    EXPECT_EQ("/org/tessel/Local/Applist org.tessel.Local1.Notification ay to " + client->Name(),
              seen);
    sd_bus_slot_unref(slot);
}

TEST_P(AnEndpointsNotification, CarriesEveryByteUnchanged) {
    const auto client = NewSubscriber();
    std::string every;
    for (int byte = 0; byte < 256; ++byte) every.push_back(static_cast<char>(byte));

    m_endpoint->Tell(every);

    EXPECT_EQ(Strings{"notification " + every}, ArrivalsAt(*client));
}

TEST_P(AnEndpointsNotification, ArrivesBeforeTheReplyOfTheCallDuringWhichItWasMade) {
    const auto client = NewSubscriber();
    m_endpoint->m_answer = [this, &client](const std::string&) {
        m_endpoint->Tell("changed");
        m_endpoint->Tell("for you", client->Name());
        return std::string("done");
    };

    client->Message("change it");

    EXPECT_EQ((Strings{"notification changed", "notification for you", "reply Message"}),
              client->m_arrivals);
}

// More than the socket and the bus library take at once: most of them wait in the queue, and the
// reply behind them.
TEST_P(AnEndpointsNotification, ArrivesBeforeTheReplyAlsoInAThousand) {
    const auto client = NewSubscriber();
    m_endpoint->m_answer = [this](const std::string&) {
        for (int number = 0; number < 1000; ++number) m_endpoint->Tell(std::to_string(number));
        return std::string("done");
    };
    Strings expected = Numbered(1000);
    expected.push_back("reply Message");

    EXPECT_EQ("done", client->Message("change it").body);

    EXPECT_EQ(expected, client->m_arrivals);
    EXPECT_EQ(0u, ErrorsLogged("")) << WholeLog();
}

TEST_P(AnEndpointsNotification, ArrivesAfterTheReplyOfTheCallBeforeIt) {
    const auto client = NewSubscriber();
    client->Message("first");

    m_endpoint->Tell("then");

    EXPECT_EQ((Strings{"reply Message", "notification then"}), ArrivalsAt(*client));
}

TEST_P(AnEndpointsNotification, IsNeverMergedWhileTheBusTakesIt) {
    const auto client = NewSubscriber();

    for (int time = 0; time < 3; ++time) m_endpoint->Tell("changed");

    EXPECT_EQ((Strings{"notification changed", "notification changed", "notification changed"}),
              ArrivalsAt(*client));
}

TEST_P(AnEndpointsNotification, IsLostAndLoggedWhenNoBusCouldCarryIt) {
    const auto client = NewSubscriber();

    m_endpoint->Tell(std::string(16 * 1024 * 1024 + 1, 'x'));

    EXPECT_EQ(Strings{"lost"}, ArrivalsAt(*client));
    EXPECT_EQ(1u, ErrorsLogged("16777217 bytes")) << WholeLog();
    EXPECT_EQ(1u, client->ReadSerial().number);
}

TEST_P(AnEndpointsNotification, IsLoggedAndLeavesTheBusAloneWhenThePartnersNameIsNone) {
    const auto client = NewSubscriber();

    m_endpoint->Tell("for nobody", "not a name");

    EXPECT_EQ(1u, ErrorsLogged("cannot notify not a name")) << WholeLog();
    EXPECT_EQ(Strings{}, ArrivalsAt(*client));
}

TEST_P(AnEndpointsNotification, MayNameAPartnerThatIsGone) {
    const auto client = NewSubscriber();
    const std::string gone = NewClient()->Name();

    m_endpoint->Tell("too late", gone);

    EXPECT_EQ(Strings{}, ArrivalsAt(*client));
    EXPECT_EQ("still there", client->Message("still there").body);
}

TEST_P(AnEndpointsNotification, RaisesTheSerialWhenItIsForEveryone) {
    const auto client = NewClient();
    EXPECT_EQ(0u, client->ReadSerial().number);

    m_endpoint->Tell("one");
    m_endpoint->Tell("two");

    EXPECT_EQ(2u, client->ReadSerial().number);
}

TEST_P(AnEndpointsNotification, LeavesTheSerialAloneWhenItNamesAPartner) {
    const auto client = NewClient();

    m_endpoint->Tell("for you", client->Name());

    EXPECT_EQ(0u, client->ReadSerial().number);
}

TEST_P(AnEndpointsNotification, IsNoMethodThatAPartnerCouldCall) {
    const auto client = NewSubscriber();
    const auto forger = NewClient();

    forger->Wait(forger->StartAny(kApplistName, kApplistPath, kApplistInterface, "Notification",
                                  [](sd_bus_message*) { return 0; }));

    EXPECT_EQ(Strings{}, ArrivalsAt(*client));
    EXPECT_EQ(Strings{"message the end"}, m_endpoint->m_events);
}

// A partner that hangs is the bus's burden: the endpoint gets rid of what it sends, and others are
// served.
TEST_P(AnEndpointsNotification, DoesNotWaitForAPartnerThatNeverReads) {
    const auto hung = NewSubscriber();
    hung->StopReading();
    const auto client = NewSubscriber();
    const std::string kilobyte(1024, 'x');
    std::size_t before = 0;

    for (int round = 0; round < 100; ++round) {
        for (int number = 0; number < 100; ++number) m_endpoint->Tell(kilobyte);
        ASSERT_EQ("you are served", client->Message("you are served").body) << "round " << round;
        client->m_arrivals.clear();
        if (round == 0) before = HeapInUse();
    }
    EXPECT_LT(HeapInUse(), before + (std::size_t{2} << 20));
}
