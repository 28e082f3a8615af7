// SPDX-License-Identifier: MIT

#include <cerrno>
#include <stdexcept>

#include "support/BusFaults.h"
#include "support/CapturedLog.h"
#include "support/EndpointTest.h"

class AnEndpoint : public EndpointTest {};

ON_EVERY_BUS_AND_OVER_CHANNELS(AnEndpoint);

class AnEndpointOnTheBus : public EndpointTest {};

ON_EVERY_BUS(AnEndpointOnTheBus);

TEST_P(AnEndpoint, HandsAMessageToTheApplicationAndItsAnswerBack) {
    const auto client = NewClient();
    m_endpoint->m_answer = [](const std::string& request) { return "answer to " + request; };

    const Answer answer = client->Message("a question");

    EXPECT_EQ("", answer.error) << answer.text;
    EXPECT_EQ("ay", answer.signature);
    EXPECT_EQ("answer to a question", answer.body);
    EXPECT_EQ(Strings{"message a question"}, m_endpoint->m_events);
}

TEST_P(AnEndpointOnTheBus, AnswersWithoutAConnectFirst) {
    EXPECT_EQ("no connect", NewClient()->Message("no connect").body);
}

TEST_P(AnEndpoint, HandsOverMessagesThatAreShorterThanAnId) {
    const auto client = NewClient();

    for (const char* request : {"", "1", "12", "123"}) {
        const Answer answer = client->Message(request);
        EXPECT_EQ("", answer.error) << answer.text;
        EXPECT_EQ(request, answer.body);
    }
    EXPECT_EQ((Strings{"message ", "message 1", "message 12", "message 123"}),
              m_endpoint->m_events);
}

// Taken for an empty one it would do nothing, and its caller would be told that it was done.
TEST_P(AnEndpoint, AnswersARequestThatItHasNoMemoryToReadWithAnError) {
    const auto client = NewClient();
    const FailingBusCall fault(BusCall::ReadArray, -ENOMEM);

    const Answer answer = client->Message("question");

    EXPECT_EQ("org.freedesktop.DBus.Error.NoMemory", answer.error);
    EXPECT_EQ(Strings{}, m_endpoint->m_events);
}

TEST_P(AnEndpoint, SendsAnEmptyAnswerAsAnEmptyArray) {
    m_endpoint->m_answer = [](const std::string&) { return std::string(); };

    const Answer answer = NewClient()->Message("question");

    EXPECT_EQ("", answer.error) << answer.text;
    EXPECT_EQ("ay", answer.signature);
    EXPECT_EQ("", answer.body);
}

TEST_P(AnEndpoint, CarriesEveryByteUnchanged) {
    std::string every;
    for (int byte = 0; byte < 256; ++byte) every.push_back(static_cast<char>(byte));

    EXPECT_EQ(every, NewClient()->Message(every).body);
}

TEST_P(AnEndpoint, AnswersCallsInTheOrderInWhichTheyCame) {
    const auto client = NewClient();
    std::vector<BusClient::PendingAnswer> answers;
    std::vector<std::string> expected;
    for (int number = 0; number < 64; ++number) {  // as many as may wait
        const std::string body = std::to_string(number);
        answers.push_back(client->Start("Message", body));
        expected.push_back("message " + body);
    }

    for (std::size_t at = 0; at < answers.size(); ++at) {
        ASSERT_EQ(std::to_string(at), client->Wait(answers[at]).body);
    }
    EXPECT_EQ(expected, m_endpoint->m_events);
}

TEST_P(AnEndpoint, ExecutesAMessageThatNobodyWaitsForAndSendsNothingBack) {
    const auto client = NewClient();

    client->SendWithoutReply("Message", "unanswered");
    client->Message("answered");

    EXPECT_EQ((Strings{"message unanswered", "message answered"}), m_endpoint->m_events);
    EXPECT_EQ(Strings{"reply Message"}, client->m_arrivals);
}

TEST_P(AnEndpoint, HandsANotificationToTheApplicationAndAnswersEmpty) {
    const auto client = NewClient();

    const Answer answer = client->Notify("news");

    EXPECT_EQ("", answer.error) << answer.text;
    EXPECT_EQ("", answer.signature);
    EXPECT_EQ(Strings{"notification news"}, m_endpoint->m_events);
}

TEST_P(AnEndpoint, HandsOverANotificationThatNobodyWaitsFor) {
    const auto client = NewClient();

    client->SendWithoutReply("Notify", "");
    client->SendWithoutReply("Notify", "news");

    EXPECT_TRUE(RunUntil([&] { return m_endpoint->m_events.size() == 2; }));
    EXPECT_EQ((Strings{"notification ", "notification news"}), m_endpoint->m_events);
}

TEST_P(AnEndpoint, RefusesArgumentsOfAnotherType) {
    const auto client = NewClient();

    const Answer answer = client->Wait(client->StartAny(
        kApplistName, kApplistPath, kApplistInterface, "Message",
        [](sd_bus_message* call) { return sd_bus_message_append(call, "s", ""); }));

    EXPECT_EQ("org.freedesktop.DBus.Error.InvalidArgs", answer.error);
    EXPECT_EQ(Strings{}, m_endpoint->m_events);
    EXPECT_EQ("still there", client->Message("still there").body);
}

TEST_P(AnEndpoint, RefusesAMethodThatItDoesNotHave) {
    const auto client = NewClient();

    EXPECT_EQ("org.freedesktop.DBus.Error.UnknownMethod",
              client->Wait(client->Start("Mesage", "")).error);
    EXPECT_EQ("still there", client->Message("still there").body);
}

// ---- Sizes --------------------------------------------------------------------------------------

namespace {

constexpr std::size_t kMaxReply = std::size_t{16} << 20;

// Fills, so that a byte which is lost or doubled on its way is noticed.
std::string Filled(std::size_t size) {
    std::string bytes(size, '\0');
    for (std::size_t at = 0; at < size; ++at) bytes[at] = static_cast<char>('a' + at % 23);
    return bytes;
}

}  // namespace

class AnEndpointWithMuchToSay : public EndpointTest {
protected:
    // With each piece that comes in, the client's library may copy what it has so far.
    AnEndpointWithMuchToSay() { SetSendBuffers(static_cast<int>(kMaxReply)); }

    Answer AskFor(std::size_t size) {
        m_endpoint->m_answer = [size](const std::string&) { return Filled(size); };
        return m_client->Message("how much");
    }

    std::unique_ptr<BusClient> m_client = NewClient();
};

ON_EVERY_BUS_AND_OVER_CHANNELS(AnEndpointWithMuchToSay);

TEST_P(AnEndpointWithMuchToSay, SendsAnAnswerOfOneByteLessThanItMay) {
    const Answer answer = AskFor(kMaxReply - 1);

    EXPECT_EQ("", answer.error) << answer.text;
    EXPECT_TRUE(answer.body == Filled(kMaxReply - 1)) << answer.body.size() << " bytes came";
}

TEST_P(AnEndpointWithMuchToSay, SendsTheLargestAnswerThatItMay) {
    const Answer answer = AskFor(kMaxReply);

    EXPECT_EQ("", answer.error) << answer.text;
    EXPECT_TRUE(answer.body == Filled(kMaxReply)) << answer.body.size() << " bytes came";
}

TEST_P(AnEndpointWithMuchToSay, RefusesAnAnswerOfOneByteMoreAndNamesMessageFd) {
    const Answer answer = AskFor(kMaxReply + 1);

    EXPECT_EQ(kTooLarge, answer.error);
    EXPECT_NE(std::string::npos, answer.text.find("call MessageFd")) << answer.text;
    EXPECT_NE(std::string::npos, answer.text.find("16777217 bytes")) << answer.text;
}

TEST_P(AnEndpointWithMuchToSay, IsStillOnTheBusAfterFortyMegabytesThatWereTooLarge) {
    EXPECT_EQ(kTooLarge, AskFor(40'000'000).error);

    const Answer answer = AskFor(5);

    EXPECT_EQ("", answer.error) << answer.text;
    EXPECT_EQ("abcde", answer.body);
    EXPECT_EQ(0u, ErrorsLogged("lost")) << WholeLog();
}

TEST_P(AnEndpointWithMuchToSay, TakesARequestOfSeveralMegabytes) {
    m_endpoint->m_answer = [](const std::string& request) {
        return std::string(request == Filled(5'000'000) ? "unchanged" : "changed on its way");
    };

    EXPECT_EQ("unchanged", m_client->Message(Filled(5'000'000)).body);
}

// ---- Handlers that throw ------------------------------------------------------------------------

class AnEndpointWhoseApplicationThrows : public EndpointTest {
protected:
    // Throws `thrown` from the handler of messages, checks that this stays without consequences,
    // and returns the answer.
    template <class Thrown>
    Answer AnswerWhenItThrows(const Thrown& thrown) {
        m_endpoint->m_answer = [&](const std::string&) -> std::string { throw thrown; };
        const Answer answer = m_client->Message("question");
        EXPECT_EQ(kHandlerFailed, answer.error);
        EXPECT_EQ(1u, ErrorsLogged("the application failed")) << WholeLog();
        m_endpoint->m_answer = nullptr;
        EXPECT_EQ("the next one", m_client->Message("the next one").body);
        return answer;
    }

    std::unique_ptr<BusClient> m_client = NewClient();
};

ON_EVERY_BUS_AND_OVER_CHANNELS(AnEndpointWhoseApplicationThrows);

TEST_P(AnEndpointWhoseApplicationThrows, AnswersWithTheTextOfTheException) {
    EXPECT_EQ("the application failed: disk full",
              AnswerWhenItThrows(std::runtime_error("disk full")).text);
}

TEST_P(AnEndpointWhoseApplicationThrows, SaysInTheLogWhoseCallItWas) {
    AnswerWhenItThrows(std::runtime_error("disk full"));

    EXPECT_EQ(1u,
              ErrorsLogged("call from " + m_client->Name() + ": the application failed: disk full"))
        << WholeLog();
}

TEST_P(AnEndpointWhoseApplicationThrows, AnswersAlsoWhenItIsNoException) {
    EXPECT_EQ("the application failed: unknown exception", AnswerWhenItThrows(42).text);
}

TEST_P(AnEndpointWhoseApplicationThrows, MakesATextThatIsNotUtf8FitForTheBus) {
    EXPECT_EQ("the application failed: a\\xff\\x1b[2Jb",
              AnswerWhenItThrows(std::runtime_error("a\xff\x1b[2Jb")).text);
}

TEST_P(AnEndpointWhoseApplicationThrows, CutsATextOfAMegabyte) {
    const std::string text = AnswerWhenItThrows(std::runtime_error(std::string(1 << 20, 'x'))).text;

    EXPECT_EQ("the application failed: " + std::string(1024, 'x'), text);
}

TEST_P(AnEndpointWhoseApplicationThrows, AnswersANotificationInTheSameWay) {
    m_endpoint->m_onNotification = [](const std::string&) { throw std::runtime_error("no"); };

    const Answer answer = m_client->Notify("news");

    EXPECT_EQ(kHandlerFailed, answer.error);
    EXPECT_EQ("the application failed: no", answer.text);
    m_endpoint->m_onNotification = nullptr;
    EXPECT_EQ("", m_client->Notify("news").error);
}

TEST_P(AnEndpointWhoseApplicationThrows, LogsWhatAConnectionReportThrowsAndKeepsThePartner) {
    m_endpoint->m_onReady = [](bool, const std::string&) { throw std::runtime_error("not now"); };

    EXPECT_EQ("", m_client->Connect().error);

    EXPECT_EQ(1u, ErrorsLogged("not now")) << WholeLog();
    m_endpoint->m_onReady = nullptr;
    const std::string name = m_client->Name();
    m_client.reset();
    EXPECT_TRUE(RunUntil([&] { return m_endpoint->m_events.size() == 2; }));
    EXPECT_EQ((Strings{"ready " + name, "gone " + name}), m_endpoint->m_events);
}

// ---- What every service on D-Bus answers --------------------------------------------------------

class AnEndpointsObject : public EndpointTest {
protected:
    Answer Ask(
        const char* interface, const char* member,
        const BusClient::Appender& append = [](sd_bus_message*) { return 0; }) {
        return m_client->Wait(
            m_client->StartAny(kApplistName, kApplistPath, interface, member, append));
    }

    std::unique_ptr<BusClient> m_client = NewClient();
};

ON_EVERY_BUS_AND_OVER_CHANNELS(AnEndpointsObject);

TEST_P(AnEndpointsObject, NamesEveryArgumentInItsIntrospectionData) {
    const std::string xml = Ask("org.freedesktop.DBus.Introspectable", "Introspect").body;

    for (const char* part : {
             "<interface name=\"org.tessel.Local1\">",
             "<method name=\"Connect\">\n  </method>",
             "<method name=\"Disconnect\">\n  </method>",
             "<method name=\"Message\">\n"
             "   <arg type=\"ay\" name=\"request\" direction=\"in\"/>\n"
             "   <arg type=\"ay\" name=\"reply\" direction=\"out\"/>\n"
             "  </method>",
             "<method name=\"MessageFd\">\n"
             "   <arg type=\"h\" name=\"request\" direction=\"in\"/>\n"
             "   <arg type=\"h\" name=\"reply\" direction=\"out\"/>\n"
             "  </method>",
             "<method name=\"Notify\">\n"
             "   <arg type=\"ay\" name=\"body\" direction=\"in\"/>\n"
             "  </method>",
             "<signal name=\"Notification\">\n"
             "   <arg type=\"ay\" name=\"body\"/>\n"
             "  </signal>",
             "<property name=\"Serial\" type=\"t\" access=\"read\">",
             "\"org.freedesktop.DBus.Property.EmitsChangedSignal\" value=\"false\"",
         }) {
        EXPECT_NE(std::string::npos, xml.find(part)) << "missing: " << part << "\nin: " << xml;
    }
}

TEST_P(AnEndpointsObject, AnswersAPing) {
    const Answer answer = Ask("org.freedesktop.DBus.Peer", "Ping");

    EXPECT_TRUE(answer.arrived);
    EXPECT_EQ("", answer.error) << answer.text;
}

TEST_P(AnEndpointsObject, ListsItsPropertiesWithTheirValues) {
    const Answer answer = Ask(
        "org.freedesktop.DBus.Properties", "GetAll",
        [](sd_bus_message* call) { return sd_bus_message_append(call, "s", kApplistInterface); });

    EXPECT_EQ("", answer.error) << answer.text;
    EXPECT_EQ("a{sv}", answer.signature);
}

TEST_P(AnEndpointsObject, RefusesToHaveItsSerialSet) {
    const Answer answer = Ask("org.freedesktop.DBus.Properties", "Set", [](sd_bus_message* call) {
        return sd_bus_message_append(call, "ssv", kApplistInterface, "Serial", "t",
                                     std::uint64_t{7});
    });

    EXPECT_EQ("org.freedesktop.DBus.Error.PropertyReadOnly", answer.error);
    EXPECT_EQ(0u, m_client->ReadSerial().number);
}
