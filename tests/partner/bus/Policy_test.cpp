// SPDX-License-Identifier: MIT

// Buses whose policy lets a partner do some of what it does, and not the rest.

#include "partner/bus/BareRemote.h"
#include "partner/bus/HostileService.h"
#include "partner/bus/PartnerBusTest.h"

namespace {

const char kEverything[] =
    "<allow send_destination=\"*\"/><allow receive_sender=\"*\"/><allow own=\"*\"/>";

// A policy that lets everyone do everything, but of the service only what is on `interface`.
std::string Only(const std::string& interface) {
    return std::string("<policy context=\"default\">") + kEverything +
           "<deny send_destination=\"org.tessel.Local.Applist\"/>"
           "<allow send_destination=\"org.tessel.Local.Applist\" send_interface=\"" +
           interface + "\"/></policy>";
}

}  // namespace

class APartnerThatMayOnlyCall : public PartnerBusTest {
protected:
    APartnerThatMayOnlyCall() : PartnerBusTest(Only("org.tessel.Local1")) {}
};

ON_BOTH_BUSES(APartnerThatMayOnlyCall);

TEST_P(APartnerThatMayOnlyCall, ShowsTheServiceAndFollowsIt) {
    StartService();
    const std::string content = m_service->Ask("add maps");
    StartPartner();

    EXPECT_TRUE(Shows(content, kBack));
    EXPECT_TRUE(m_model->IsServiceThere());
    EXPECT_TRUE(Shows(m_service->Ask("add radio"), kBack));
}

// Also one that says nothing by itself. The next look at its count would be after three seconds.
TEST_P(APartnerThatMayOnlyCall, SeesTheServiceWhenItHasConnected) {
    const HostileService silent(m_bus->Address());
    StartPartner();
    const auto start = std::chrono::steady_clock::now();

    EXPECT_TRUE(RunUntil([&] { return m_model->IsServiceThere(); }));

    EXPECT_LT(std::chrono::steady_clock::now() - start, kBack);
}

TEST_P(APartnerThatMayOnlyCall, SaysOnceThatALostNotificationGoesUnnoticed) {
    HostileService service(m_bus->Address());
    BareRemote remote;
    ASSERT_TRUE(RunUntil([&] { return remote.m_isReady; }));
    // A tenth of a second after a notification the count is asked for again.
    bool isOver = false;
    remote.m_onNotification = [&] { remote.CallLater(milliseconds(500), [&] { isOver = true; }); };
    service.TellOfChange();
    ASSERT_TRUE(RunUntil([&] { return isOver; }));

    EXPECT_EQ(1u, ErrorsLogged("goes unnoticed")) << WholeLog();
}

class APartnerThatMayOnlyCount : public PartnerBusTest {
protected:
    APartnerThatMayOnlyCount() : PartnerBusTest(Only("org.freedesktop.DBus.Properties")) {
        StartService();
        StartPartner();
    }
};

ON_BOTH_BUSES(APartnerThatMayOnlyCount);

TEST_P(APartnerThatMayOnlyCount, SaysOnceThatItMayNotRead) {
    ASSERT_TRUE(RunUntil([&] { return m_model->IsServiceThere(); }));

    for (int time = 0; time < 3; ++time) EXPECT_EQ("Refused", CauseOfSynchronize());

    EXPECT_EQ(1u, ErrorsLogged("cannot read the list")) << WholeLog();
    EXPECT_EQ(1u, ErrorsLogged("cannot read the list: Applist: the bus's policy refuses"));
}
