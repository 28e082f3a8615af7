// SPDX-License-Identifier: MIT

#include <stdexcept>
#include <string>

#include "ipc/TesselDbusLocal.h"
#include "support/RecordingService.h"

using recording::Events;
using recording::RecordingService;
using recording::Text;
using std::string;

class AnEvent : public RecordingService {
protected:
    static void ReportConnection(bool state, const string& partner) {
        TesselDbusLocal::Newest()->HandleConnectionReady(state, partner);
    }
};

TEST_F(AnEvent, OfSelectionIsLoggedAndSentToTheDefaultDestination) {
    m_model.RaiseSelected();

    EXPECT_EQ(Events({"debug ItemSelected: Sending Item Selection Event to remote object",
                      "send 02 00 00 00"}),
              TakeEvents());
}

TEST_F(AnEvent, OfChangeIsLoggedAndSentToTheDefaultDestination) {
    m_model.RaiseChanged();

    EXPECT_EQ(Events({"debug ItemChanged: Sending Item Change Event to remote object",
                      "send 01 00 00 00"}),
              TakeEvents());
}

TEST_F(AnEvent, OfAClickIsLoggedAndSentToTheDefaultDestination) {
    m_model.RaiseClicked();

    EXPECT_EQ(Events({"debug ItemClicked: Sending Item Clicked Event to remote object",
                      "send 03 00 00 00"}),
              TakeEvents());
}

TEST_F(AnEvent, IsNeitherMergedNorDropped) {
    for (int time = 0; time < 10; ++time) m_model.RaiseChanged();

    string expected;
    for (int time = 0; time < 10; ++time) {
        expected += Events(
            {"debug ItemChanged: Sending Item Change Event to remote object", "send 01 00 00 00"});
    }
    EXPECT_EQ(expected, TakeEvents());
}

TEST_F(AnEvent, IsSentWhetherOrNotAPartnerIsConnected) {
    ReportConnection(true, ":1.7");
    ReportConnection(false, ":1.7");
    TakeEvents();

    m_model.RaiseSelected();

    EXPECT_NE(string::npos, TakeEvents().find("send 02 00 00 00\n"));
}

TEST_F(AnEvent, DoesNotLookAtTheModelThatRaisedIt) {
    m_model.m_selectionListeners.front()->ItemSelected(nullptr);
    m_model.m_changeListeners.front()->ItemChanged(nullptr);
    m_model.m_clickListeners.front()->ItemClicked(nullptr);

    EXPECT_EQ(
        Events({"debug ItemSelected: Sending Item Selection Event to remote object",
                "send 02 00 00 00", "debug ItemChanged: Sending Item Change Event to remote object",
                "send 01 00 00 00",
                "debug ItemClicked: Sending Item Clicked Event to remote object",
                "send 03 00 00 00"}),
        TakeEvents());
}

TEST_F(AnEvent, OfConnectionAnnouncesTheServiceToThePartnerByName) {
    ReportConnection(true, "abc");

    EXPECT_EQ(
        Events({"debug HandleConnectionReady: HandleConnectionReady state=1, partner=abc",
                "debug HandleConnectionReady: Calling connection ready callback",
                "debug OnConnectionReady: Connection established with partner abc. Sending Local "
                "created event",
                "send 04 00 00 00 to abc"}),
        TakeEvents());
}

TEST_F(AnEvent, OfConnectionGoesToTheDefaultDestinationWhenThePartnerHasNoName) {
    ReportConnection(true, "");

    EXPECT_EQ(Events({"debug HandleConnectionReady: HandleConnectionReady state=1, partner=",
                      "debug HandleConnectionReady: Calling connection ready callback",
                      "debug OnConnectionReady: Connection established with partner . Sending "
                      "Local created event",
                      "send 04 00 00 00"}),
              TakeEvents());
}

TEST_F(AnEvent, OfConnectionIsSentForEachReport) {
    ReportConnection(true, "abc");
    TakeEvents();

    ReportConnection(true, "abc");

    EXPECT_NE(string::npos, TakeEvents().find("send 04 00 00 00 to abc\n"));
}

TEST_F(AnEvent, IsNotSentForAConnectionThatWent) {
    ReportConnection(false, "abc");

    EXPECT_EQ(Events({"debug HandleConnectionReady: HandleConnectionReady state=0, partner=abc"}),
              TakeEvents());
}

TEST_F(AnEvent, IsNotSentForANotificationOfThePartner) {
    std::vector<char> changeEvent = {1, 0, 0, 0};

    TesselDbusLocal::Newest()->HandleNotification(changeEvent);

    EXPECT_EQ(Events({"debug HandleNotification: IPC HandleNotification",
                      "info HandleNotification: callbackNotificationObject object is NULL"}),
              TakeEvents());
}

TEST_F(AnEvent, OfASelectionThatThePartnerMadeIsSentWhileTheCallRuns) {
    m_model.Own("Maps", "maps");
    m_model.m_raisesEvents = true;

    Call(APPLIST_SET_SELECTION_FNC, Text("", "maps"));

    const string events = TakeEvents();
    EXPECT_EQ(events.find("send 02 00 00 00\n"), events.rfind("send")) << events;
    EXPECT_LT(events.find("model SetSelection"), events.find("send 02 00 00 00\n")) << events;
}

// Whoever hears of an event has no use for the transport's trouble: the list is changed already.
TEST_F(AnEvent, ThatTheTransportCannotSendReachesTheLogAndNotTheModel) {
    TesselDbusLocal::Newest()->m_refusesToSend = true;

    EXPECT_NO_THROW(m_model.RaiseSelected());
    EXPECT_NO_THROW(m_model.RaiseChanged());
    EXPECT_NO_THROW(m_model.RaiseClicked());

    const string failed = "error Guarded: Error while sending an event: the bus is on fire";
    EXPECT_EQ(Events({"debug ItemSelected: Sending Item Selection Event to remote object", failed,
                      "debug ItemChanged: Sending Item Change Event to remote object", failed,
                      "debug ItemClicked: Sending Item Clicked Event to remote object", failed}),
              TakeEvents());
}

TEST_F(AnEvent, ThatTheTransportCannotSendLeavesTheCallExecuted) {
    m_model.m_raisesEvents = true;
    TesselDbusLocal::Newest()->m_refusesToSend = true;

    EXPECT_NO_THROW(Call(APPLIST_ADD_ITEM_AT_END_FNC, Text("Maps", "maps")));

    EXPECT_EQ("Maps/maps", m_model.Content());
    EXPECT_EQ("Maps/maps", RegistryContent());
}

TEST_F(AnEvent, OfConnectionThatTheTransportCannotSendIsLeftToTheTransport) {
    TesselDbusLocal::Newest()->m_refusesToSend = true;

    EXPECT_THROW(ReportConnection(true, "abc"), std::runtime_error);
}

TEST_F(AnEvent, IsNoLongerSentOnceTheServiceIsGone) {
    DestroyService();
    TakeEvents();

    m_model.RaiseSelected();
    m_model.RaiseChanged();
    m_model.RaiseClicked();

    EXPECT_EQ("", TakeEvents());
}
