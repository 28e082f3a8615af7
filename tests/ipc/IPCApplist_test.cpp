// SPDX-License-Identifier: MIT

#include "ipc/IPCApplist.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include "ipc/TesselDbusLocal.h"
#include "support/RecordingJournal.h"
#include "support/RecordingLog.h"
#include "support/RecordingService.h"

using recording::Events;
using recording::Frame;
using recording::Hex;
using recording::Journal;
using std::string;
using Bytes = std::vector<char>;

namespace {

string Text(const Bytes& bytes) {
    return string(bytes.begin(), bytes.end());
}

class Handler {
public:
    explicit Handler(string name) : m_name(std::move(name)) {}

    Bytes OnMessage(int id, const Bytes& payload) {
        Enter("message", id, payload);
        return {'r', 'e', 'p', 'l', 'y', '\0'};
    }
    Bytes OnMessageOtherwise(int id, const Bytes& payload) {
        Enter("other message", id, payload);
        return {};
    }
    Bytes OnMessageThrow(int, const Bytes&) { throw std::runtime_error("handler"); }
    void OnNotification(int id, const Bytes& payload) { Enter("notification", id, payload); }
    void OnConnectionReady(const string& partner) {
        Journal::Get().Add(m_name + " connection " + partner);
    }

private:
    void Enter(const string& what, int id, const Bytes& payload) {
        Journal::Get().Add(m_name + " " + what + " " + std::to_string(id) + " [" +
                           Hex(Text(payload)) + "]");
    }

    string m_name;
};

using Channel = IPCApplist<TesselDbusLocal, Handler>;

static_assert(std::is_base_of<TesselDbusLocal, Channel>::value &&
                  std::is_convertible<Channel*, TesselDbusLocal*>::value,
              "the transport is a public base");
static_assert(std::is_union<Channel::byteint>::value && sizeof(Channel::byteint) == 4, "");
static_assert(std::is_same<unsigned char[4], decltype(Channel::byteint::b)>::value, "");
static_assert(std::is_same<int, decltype(Channel::byteint::i)>::value, "");
static_assert(std::has_virtual_destructor<Channel>::value, "");

// One object and one member-function pointer for each of three kinds, behind the base, no more.
struct ThreeHandlers {
    Handler* object1;
    Bytes (Handler::*proc1)(int, const Bytes&);
    Handler* object2;
    void (Handler::*proc2)(int, const Bytes&);
    Handler* object3;
    void (Handler::*proc3)(const string&);
};
static_assert(sizeof(Channel) == sizeof(TesselDbusLocal) + sizeof(ThreeHandlers), "");

const char kMessage[] = "debug HandleMessage: IPC HandleMessage";
const char kNotification[] = "debug HandleNotification: IPC HandleNotification";

}  // namespace

class AChannel : public ::testing::Test {
protected:
    AChannel() {
        Journal::Get().Restart();
        m_channel = std::make_unique<Channel>();
        m_constructionEvents = TakeEvents();
    }

    static string TakeEvents() { return Journal::Get().Take(); }
    TesselDbusLocal& AsTransport() { return *m_channel; }

    string m_constructionEvents;
    std::unique_ptr<Channel> m_channel;
    Handler m_handler = Handler("handler");
    Handler m_other = Handler("other");
};

TEST_F(AChannel, OpensItsEndpointAndThenLogs) {
    EXPECT_EQ(Events({"transport opens Applist", "debug IPCApplist: IPCApplist"}),
              m_constructionEvents);
}

TEST_F(AChannel, WritesNothingOfItsOwnWhenItGoes) {
    m_channel->RegisterOnMessage(&m_handler, &Handler::OnMessage);

    m_channel.reset();

    EXPECT_EQ(Events({"transport closes Applist"}), TakeEvents());
}

TEST_F(AChannel, IsDestroyedWholeThroughItsTransport) {
    TesselDbusLocal* const transport = m_channel.release();

    delete transport;

    EXPECT_EQ(Events({"transport closes Applist"}), TakeEvents());
}

TEST_F(AChannel, LogsNothingWhenHandlersAreRegistered) {
    m_channel->RegisterOnMessage(&m_handler, &Handler::OnMessage);
    m_channel->RegisterOnNotification(&m_handler, &Handler::OnNotification);
    m_channel->RegisterOnConnectionReady(&m_handler, &Handler::OnConnectionReady);

    EXPECT_EQ("", TakeEvents());
}

TEST_F(AChannel, NamesItsHeaderInItsLogLines) {
    recording::RestartLog();
    Bytes empty;

    AsTransport().HandleMessage(empty);

    ASSERT_EQ(2u, recording::LogRecords().size());
    EXPECT_STREQ("IPCApplist.h", recording::LogRecords()[0].file);
    EXPECT_STREQ("IPCApplist.h", recording::LogRecords()[1].file);
}

class AMessage : public AChannel {
protected:
    AMessage() { m_channel->RegisterOnMessage(&m_handler, &Handler::OnMessage); }

    void Unregister() {
        m_channel->UnregisterOnMessage(&m_handler);
        TakeEvents();
    }
};

TEST_F(AMessage, ReachesTheHandlerWithoutItsId) {
    Bytes data = {'\x01', '\x02', '\x03', '\x04', '\xD0', '\x07', '\0', '\0'};

    AsTransport().HandleMessage(data);

    EXPECT_EQ(Events({kMessage, "handler message 2000 [01 02 03 04]"}), TakeEvents());
    EXPECT_EQ("01 02 03 04", Hex(Text(data)));
}

TEST_F(AMessage, IsAnsweredWithTheHandlersReplyAsItIs) {
    Bytes data = Frame("payload", 7);

    EXPECT_EQ(string("reply\0", 6), Text(AsTransport().HandleMessage(data)));
}

TEST_F(AMessage, OfFourBytesHasAnEmptyPayload) {
    Bytes data = {'\xD0', '\x07', '\0', '\0'};

    AsTransport().HandleMessage(data);

    EXPECT_EQ(Events({kMessage, "handler message 2000 []"}), TakeEvents());
    EXPECT_TRUE(data.empty());
}

TEST_F(AMessage, OfLessThanFourBytesIsRefusedAndLeftAsItIs) {
    for (const string& bytes : {string(), string("1"), string("12"), string("123")}) {
        Bytes data(bytes.begin(), bytes.end());

        EXPECT_TRUE(AsTransport().HandleMessage(data).empty());

        EXPECT_EQ(
            Events({kMessage, "error HandleMessage: Data corrupted. Does not contain message id."}),
            TakeEvents());
        EXPECT_EQ(bytes, Text(data));
    }
}

TEST_F(AMessage, MayHaveAnyId) {
    for (const int id : {0, 1, -1, 2147483647, -2147483647 - 1, 2000}) {
        Bytes data = Frame("", id);

        AsTransport().HandleMessage(data);

        EXPECT_EQ(Events({kMessage, "handler message " + std::to_string(id) + " []"}),
                  TakeEvents());
    }
}

TEST_F(AMessage, LosesItsIdEvenWhenNobodyHandlesIt) {
    Unregister();
    Bytes data = Frame("payload", 2000);

    EXPECT_TRUE(AsTransport().HandleMessage(data).empty());

    EXPECT_EQ(Events({kMessage, "info HandleMessage: callbackMessageObject object is NULL"}),
              TakeEvents());
    EXPECT_EQ("payload", Text(data));
}

TEST_F(AMessage, IsRefusedForItsLengthBeforeAHandlerIsMissed) {
    Unregister();
    Bytes data = {'1', '2', '3'};

    AsTransport().HandleMessage(data);

    EXPECT_EQ(
        Events({kMessage, "error HandleMessage: Data corrupted. Does not contain message id."}),
        TakeEvents());
}

TEST_F(AMessage, GoesToTheHandlerThatWasRegisteredLast) {
    m_channel->RegisterOnMessage(&m_other, &Handler::OnMessageOtherwise);
    Bytes data = Frame("", 1);

    EXPECT_TRUE(AsTransport().HandleMessage(data).empty());

    EXPECT_EQ(Events({kMessage, "other other message 1 []"}), TakeEvents());
}

TEST_F(AMessage, LetsTheHandlersExceptionThrough) {
    m_channel->RegisterOnMessage(&m_handler, &Handler::OnMessageThrow);
    Bytes data = Frame("", 1);

    EXPECT_THROW(AsTransport().HandleMessage(data), std::runtime_error);
}

TEST_F(AMessage, IsHandledWhateverNotificationHandlerThereIs) {
    m_channel->RegisterOnNotification(&m_other, &Handler::OnNotification);
    Bytes data = Frame("", 1);

    AsTransport().HandleMessage(data);

    EXPECT_EQ(Events({kMessage, "handler message 1 []"}), TakeEvents());
}

class AMessageHandler : public AMessage {};

TEST_F(AMessageHandler, IsLoggedWhenItIsUnregistered) {
    m_channel->UnregisterOnMessage(&m_handler);

    EXPECT_EQ(Events({"info UnregisterOnMessage: Unregistered callbackMessageObject"}),
              TakeEvents());
}

TEST_F(AMessageHandler, StaysWhenAnotherIsUnregistered) {
    m_channel->UnregisterOnMessage(&m_other);
    EXPECT_EQ("", TakeEvents());
    Bytes data = Frame("", 1);

    AsTransport().HandleMessage(data);

    EXPECT_EQ(Events({kMessage, "handler message 1 []"}), TakeEvents());
}

TEST_F(AMessageHandler, CanBeRegisteredAgain) {
    Unregister();

    m_channel->RegisterOnMessage(&m_handler, &Handler::OnMessage);

    Bytes data = Frame("", 1);
    EXPECT_EQ(6u, AsTransport().HandleMessage(data).size());
}

TEST_F(AMessageHandler, IsUnregisteredOnce) {
    Unregister();

    m_channel->UnregisterOnMessage(&m_handler);

    EXPECT_EQ("", TakeEvents());
}

class ANotification : public AChannel {};

TEST_F(ANotification, IsDroppedWhenNobodyHandlesIt) {
    Bytes data = Frame("payload", 1);

    AsTransport().HandleNotification(data);

    EXPECT_EQ(Events({kNotification,
                      "info HandleNotification: callbackNotificationObject object is NULL"}),
              TakeEvents());
    EXPECT_EQ("payload", Text(data));
}

TEST_F(ANotification, OfLessThanFourBytesIsRefusedAndLeftAsItIs) {
    m_channel->RegisterOnNotification(&m_handler, &Handler::OnNotification);
    for (const string& bytes : {string(), string("1"), string("12"), string("123")}) {
        Bytes data(bytes.begin(), bytes.end());

        AsTransport().HandleNotification(data);

        EXPECT_EQ(Events({kNotification,
                          "error HandleNotification: Data corrupted. Does not "
                          "contain message id."}),
                  TakeEvents());
        EXPECT_EQ(bytes, Text(data));
    }
}

TEST_F(ANotification, ReachesItsHandlerWithoutItsId) {
    m_channel->RegisterOnNotification(&m_handler, &Handler::OnNotification);
    Bytes data = Frame("AB", -2);

    AsTransport().HandleNotification(data);

    EXPECT_EQ(Events({kNotification, "handler notification -2 [41 42]"}), TakeEvents());
    EXPECT_EQ("AB", Text(data));
}

TEST_F(ANotification, DoesNotGoToTheMessageHandler) {
    m_channel->RegisterOnMessage(&m_handler, &Handler::OnMessage);
    Bytes data = Frame("", 1);

    AsTransport().HandleNotification(data);

    EXPECT_EQ(Events({kNotification,
                      "info HandleNotification: callbackNotificationObject object is NULL"}),
              TakeEvents());
}

TEST_F(ANotification, IsDroppedOnceItsHandlerIsUnregistered) {
    m_channel->RegisterOnNotification(&m_handler, &Handler::OnNotification);
    m_channel->UnregisterOnNotification(&m_other);
    Bytes handled = Frame("", 1);
    AsTransport().HandleNotification(handled);
    EXPECT_EQ(Events({kNotification, "handler notification 1 []"}), TakeEvents());

    m_channel->UnregisterOnNotification(&m_handler);

    EXPECT_EQ(Events({"info UnregisterOnNotification: Unregistered callbackNotificationObject"}),
              TakeEvents());
    Bytes dropped = Frame("", 1);
    AsTransport().HandleNotification(dropped);
    EXPECT_EQ(Events({kNotification,
                      "info HandleNotification: callbackNotificationObject object is NULL"}),
              TakeEvents());
}

class AConnectionReport : public AChannel {
protected:
    AConnectionReport() {
        m_channel->RegisterOnConnectionReady(&m_handler, &Handler::OnConnectionReady);
    }
};

TEST_F(AConnectionReport, ReachesTheHandlerWhenItIsGood) {
    AsTransport().HandleConnectionReady(true, ":1.7");

    EXPECT_EQ(Events({"debug HandleConnectionReady: HandleConnectionReady state=1, partner=:1.7",
                      "debug HandleConnectionReady: Calling connection ready callback",
                      "handler connection :1.7"}),
              TakeEvents());
}

TEST_F(AConnectionReport, IsOnlyLoggedWhenItIsBad) {
    for (const string& partner : {string(""), string(":1.7")}) {
        AsTransport().HandleConnectionReady(false, partner);

        EXPECT_EQ(Events({"debug HandleConnectionReady: HandleConnectionReady state=0, partner=" +
                          partner}),
                  TakeEvents());
    }
}

TEST_F(AConnectionReport, IsOnlyLoggedWhenNobodyHandlesIt) {
    m_channel->UnregisterOnConnectionReady(&m_handler);
    EXPECT_EQ(Events({"info UnregisterOnConnectionReady: Unregistered "
                      "connectionReadyCallbackObject"}),
              TakeEvents());

    AsTransport().HandleConnectionReady(true, ":1.7");

    EXPECT_EQ(Events({"debug HandleConnectionReady: HandleConnectionReady state=1, partner=:1.7"}),
              TakeEvents());
}

TEST_F(AConnectionReport, StillReachesTheHandlerWhenAnotherIsUnregistered) {
    m_channel->UnregisterOnConnectionReady(&m_other);
    EXPECT_EQ("", TakeEvents());

    AsTransport().HandleConnectionReady(true, "");

    EXPECT_NE(string::npos, TakeEvents().find("handler connection \n"));
}

TEST_F(AConnectionReport, GoesToTheHandlerThatWasRegisteredLast) {
    m_channel->RegisterOnConnectionReady(&m_other, &Handler::OnConnectionReady);

    AsTransport().HandleConnectionReady(true, "p");

    EXPECT_NE(string::npos, TakeEvents().find("other connection p\n"));
}

class ASentEvent : public AChannel {};

TEST_F(ASentEvent, GoesToTheDefaultDestinationWithoutALogLine) {
    m_channel->SendNotification(4, "");

    EXPECT_EQ(Events({"send 04 00 00 00"}), TakeEvents());
}

TEST_F(ASentEvent, GoesToThePartnerThatIsNamed) {
    m_channel->SendNotification(4, ":1.7");

    EXPECT_EQ(Events({"send 04 00 00 00 to :1.7"}), TakeEvents());
}

TEST_F(ASentEvent, MayHaveAnyId) {
    m_channel->SendNotification(-2, "");
    m_channel->SendNotification(0x01020304, "");

    EXPECT_EQ(Events({"send fe ff ff ff", "send 04 03 02 01"}), TakeEvents());
}

namespace {

// A transport from the partner's end: it can send messages.
class CallingTransport : public TesselDbusLocal {
public:
    using TesselDbusLocal::TesselDbusLocal;

    Bytes SendMessage(Bytes& data) {
        Journal::Get().Add("call " + Hex(Text(data)));
        return {'y', 'e', 's'};
    }

    void PostMessage(Bytes data, std::function<void(Bytes)> onReply) {
        Journal::Get().Add("post " + Hex(Text(data)));
        onReply({'y', 'e', 's'});
    }
};

}  // namespace

TEST(ACallingChannel, SendsThePayloadAndThenTheIdAndReturnsTheReply) {
    IPCApplist<CallingTransport, Handler> channel;
    Journal::Get().Restart();

    EXPECT_EQ("yes", Text(channel.SendMessage(2000, "ABC", 3)));

    EXPECT_EQ(Events({"call 41 42 43 d0 07 00 00"}), Journal::Get().Take());
}

TEST(ACallingChannel, SendsTheIdAloneForAnEmptyPayload) {
    IPCApplist<CallingTransport, Handler> channel;
    Journal::Get().Restart();

    channel.SendMessage(2002, nullptr, 0);

    EXPECT_EQ(Events({"call d2 07 00 00"}), Journal::Get().Take());
}

TEST(ACallingChannel, SendsPayloadBytesAsTheyAre) {
    IPCApplist<CallingTransport, Handler> channel;
    Journal::Get().Restart();

    channel.SendMessage(1, "\0\xFF", 2);

    EXPECT_EQ(Events({"call 00 ff 01 00 00 00"}), Journal::Get().Take());
}

TEST(ACallingChannel, PostsThePayloadAndThenTheIdAndHandsOnWhoTakesTheReply) {
    IPCApplist<CallingTransport, Handler> channel;
    Journal::Get().Restart();

    std::string reply;
    channel.PostMessage(2005, {'A', 'B', 'C'}, [&](Bytes bytes) { reply = Text(bytes); });
    channel.PostMessage(2002, {}, [](Bytes) {});

    EXPECT_EQ("yes", reply);
    EXPECT_EQ(Events({"post 41 42 43 d5 07 00 00", "post d2 07 00 00"}), Journal::Get().Take());
}
