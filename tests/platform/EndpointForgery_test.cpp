// SPDX-License-Identifier: MIT

// What a stranger on the bus sends to an endpoint in the name of the bus or of the bus library: the
// endpoint does nothing about any of it.

#include "support/CapturedLog.h"
#include "support/EndpointTest.h"
#include "support/Forger.h"

class AnEndpointThatIsLiedTo : public EndpointTest {
protected:
    AnEndpointThatIsLiedTo() { m_partner->Connect(); }

    std::string OwnName() {
        return m_partner
            ->Wait(m_partner->StartAny("org.freedesktop.DBus", "/org/freedesktop/DBus",
                                       "org.freedesktop.DBus", "GetNameOwner",
                                       [](sd_bus_message* call) {
                                           return sd_bus_message_append(call, "s", kApplistName);
                                       }))
            .body;
    }

    // Returns when the bus has passed on what the partner has sent; the loop does not run.
    void AwaitTheBus() const {
        EXPECT_GE(
            sd_bus_call_method(m_partner->Bus(), "org.freedesktop.DBus", "/org/freedesktop/DBus",
                               "org.freedesktop.DBus", "GetId", nullptr, nullptr, ""),
            0);
    }

    void ExpectNoReaction() {
        EXPECT_EQ(Strings{"ready " + m_partner->Name()}, m_endpoint->m_events);
        EXPECT_EQ(Strings{}, m_forger.m_calls);
        EXPECT_EQ(m_name, OwnName()) << "it has connected anew";
        EXPECT_EQ(0u, ErrorsLogged("")) << WholeLog();
        EXPECT_EQ("a call", m_partner->Message("a call").body);
    }

    void ExpectNoReactionTo(const Forger::Signal& signal) {
        m_forger.Send(signal, m_name,
                      {"org.freedesktop.DBus", "org.freedesktop.DBus.Local", m_partner->Name()});
        ExpectNoReaction();
    }

    std::unique_ptr<BusClient> m_partner = NewClient();
    Forger m_forger{m_bus.Address()};
    const std::string m_name = OwnName();
};

ON_EVERY_BUS_AND_OVER_CHANNELS(AnEndpointThatIsLiedTo);

TEST_P(AnEndpointThatIsLiedTo, KeepsAPartnerThatIsSaidToHaveLeft) {
    ExpectNoReactionTo(NameOwnerChanged(m_partner->Name(), m_partner->Name(), ""));
}

TEST_P(AnEndpointThatIsLiedTo, KeepsANameThatIsSaidToHavePassedOn) {
    ExpectNoReactionTo(NameOwnerChanged(kApplistName, m_name, m_forger.Name()));
}

TEST_P(AnEndpointThatIsLiedTo, KeepsANameThatIsSaidToBeLost) {
    ExpectNoReactionTo(NameLost(kApplistName));
}

TEST_P(AnEndpointThatIsLiedTo, TakesNoNameThatItIsSaidToHave) {
    ExpectNoReactionTo(NameAcquired("org.tessel.Local.Another"));
}

TEST_P(AnEndpointThatIsLiedTo, KeepsABusThatIsSaidToBeGone) {
    ExpectNoReactionTo(Disconnected());
}

TEST_P(AnEndpointThatIsLiedTo, HearsNoNotificationThatIsASignal) {
    ExpectNoReactionTo(ListChanged());
}

// The bus is asked whether a partner is still there when it connects. The bus stands while that is
// asked, and finds the stranger's answer first.
TEST_P(AnEndpointThatIsLiedTo, KeepsAPartnerThatAForgedReplySaysIsNotThere) {
    m_partner->Disconnect();
    m_endpoint->m_events.clear();
    const BusClient::PendingAnswer connected = m_partner->Start("Connect");
    AwaitTheBus();
    m_bus.Stop();
    m_forger.StartReplying(
        m_name, 1, 16, [](sd_bus_message* reply) { return sd_bus_message_append(reply, "b", 0); });
    RunWhatIsReady();
    m_bus.Continue();

    EXPECT_EQ("", m_partner->Wait(connected).error);
    m_forger.AwaitReadBy(m_name);
    ExpectNoReaction();
}
