// SPDX-License-Identifier: MIT

// Anything at all, in any order, from a random number generator: partners that call rightly and
// wrongly, come and go, and a bus that stands still or is killed. A failure names the seed.

#include <random>
#include <set>

#include "support/CapturedLog.h"
#include "support/EndpointTest.h"

class AnEndpointUnderAttack : public EndpointTest {
protected:
    AnEndpointUnderAttack() {
        m_endpoint->m_onReady = [this](bool state, const std::string& partner) {
            if (state && UpTo(2) == 0) m_endpoint->Tell("welcome", partner);
        };
    }

    // Every value up to `most` is as likely.
    int UpTo(int most) { return std::uniform_int_distribution<int>(0, most)(m_random); }

    std::string AnyBytes(int most) {
        std::string bytes(static_cast<std::size_t>(UpTo(most)), '\0');
        for (char& byte : bytes) byte = static_cast<char>(UpTo(255));
        return bytes;
    }

    BusClient& AnyClient() {
        if (m_clients.size() < 4) m_clients.push_back(NewClient());
        return *m_clients[static_cast<std::size_t>(UpTo(static_cast<int>(m_clients.size()) - 1))];
    }

    // A call whose answer is known.
    void Ask(BusClient& client) {
        const std::string body = AnyBytes(UpTo(20) == 0 ? 100'000 : 100);
        if (UpTo(1) == 0) {
            m_asked.push_back({client.Start("Message", body), body});
        } else {
            m_asked.push_back({client.StartFd(MemfdOf(body).Get()), body});
        }
    }

    // One that is wrong in some way, or that only the bus library answers.
    void Trouble(BusClient& client) {
        switch (UpTo(6)) {
            case 0: client.StartFd(MemfdOf("unsealed", 0).Get()); break;
            case 1: client.StartFd(0); break;
            case 2: client.Start("NoSuchMethod", AnyBytes(10)); break;
            case 3: client.Start("MessageFd", AnyBytes(10)); break;
            case 4: client.Start("Message"); break;
            case 5: client.SendWithoutReply("Message", AnyBytes(10)); break;
            default:
                client.StartAny(kApplistName, kApplistPath, "org.freedesktop.DBus.Introspectable",
                                "Introspect", [](sd_bus_message*) { return 0; });
        }
    }

    void DoAnything() {
        BusClient& client = AnyClient();
        switch (UpTo(9)) {
            case 0: client.Start("Connect"); break;
            case 1: client.Start("Disconnect"); break;
            case 2: client.Start("Notify", AnyBytes(100)); break;
            case 3: Trouble(client); break;
            case 4: Tell(AnyBytes(200), ""); break;
            case 5: Tell(AnyBytes(200), client.Name()); break;
            case 6: client.Subscribe(); break;
            default: Ask(client);
        }
        for (int turns = UpTo(5); turns > 0; --turns) sd_event_run(TestLoop(), 0);
    }

    void Tell(const std::string& body, const std::string& partner) {
        if (partner.empty()) {
            ++m_told;
            m_endpoint->Tell(body);
        } else {
            m_endpoint->Tell(body, partner);
        }
    }

    // Keeps the endpoint from sending, and not: makes the bus stand, or nobody read a channel.
    void Stand() {
        if (!GetParam().withChannels) return m_bus.Stop();
        for (const std::unique_ptr<BusClient>& client : m_clients) client->StopReading();
    }
    void RunOn() {
        if (!GetParam().withChannels) return m_bus.Continue();
        for (const std::unique_ptr<BusClient>& client : m_clients) client->ReadAgain();
    }

    // Up to 40 MB, hardly two alike.
    void TellMuch() {
        for (int number = UpTo(400); number > 0; --number) {
            const auto size = static_cast<std::size_t>(UpTo(100'000));
            Tell(std::string(size, static_cast<char>(UpTo(255))), "");
        }
    }

    void ExpectAnswers() {
        for (const Asked& asked : m_asked) {
            const Answer answer = AnyClient().Wait(asked.answer);
            ASSERT_EQ("", answer.error) << answer.text;
            ASSERT_EQ(asked.body, answer.fd ? ContentOf(answer.fd->Get()) : answer.body);
        }
        m_asked.clear();
    }

    struct Asked {
        BusClient::PendingAnswer answer;
        std::string body;
    };

    const unsigned m_seed = std::random_device()();
    const ::testing::ScopedTrace m_trace{__FILE__, __LINE__, "seed " + std::to_string(m_seed)};
    std::mt19937 m_random{m_seed};
    std::vector<std::unique_ptr<BusClient>> m_clients;
    std::vector<Asked> m_asked;
    std::uint64_t m_told = 0;
};

ON_EVERY_BUS_AND_OVER_CHANNELS(AnEndpointUnderAttack);

TEST_P(AnEndpointUnderAttack, AnswersEveryRightCallRightly) {
    for (int round = 0; round < 40; ++round) {
        for (int step = 0; step < 50; ++step) DoAnything();
        ExpectAnswers();
    }
    EXPECT_EQ(m_told, AnyClient().ReadSerial().number);
}

// Whoever was reported to be there, and did not say goodbye, is reported gone.
TEST_P(AnEndpointUnderAttack, KnowsWhoIsThereWhilePartnersComeAndGo) {
    for (int step = 0; step < 1000; ++step) {
        DoAnything();
        if (UpTo(10) != 0) continue;
        ExpectAnswers();
        m_clients.erase(m_clients.begin() + UpTo(static_cast<int>(m_clients.size()) - 1));
    }
    ExpectAnswers();
    m_clients.clear();

    const auto connected = [this] {
        std::set<std::string> names;
        for (const std::string& event : m_endpoint->m_events) {
            if (event.compare(0, 6, "ready ") == 0) names.insert(event.substr(6));
            if (event.compare(0, 5, "gone ") == 0) names.erase(event.substr(5));
        }
        return names;
    };
    EXPECT_TRUE(RunUntil([&] { return connected().empty(); }));
}

TEST_P(AnEndpointUnderAttack, GoesOnWhenTheBusStandsNowAndThen) {
    for (int round = 0; round < 10; ++round) {
        for (int step = 0; step < 30; ++step) DoAnything();
        Stand();
        TellMuch();
        for (int turns = 0; turns < 20; ++turns) sd_event_run(TestLoop(), 0);
        RunOn();
        ExpectAnswers();
    }
    EXPECT_EQ(m_told, AnyClient().ReadSerial().number);
}

// ---- A bus that is killed at any moment ---------------------------------------------------------

class AnEndpointWhoseBusIsKilledAtAnyMoment : public AnEndpointUnderAttack {};

INSTANTIATE_TEST_SUITE_P(OnBothBuses, AnEndpointWhoseBusIsKilledAtAnyMoment,
                         ::testing::Values(BusVariety{BusProgram::Daemon, BusLimits::BuiltIn},
                                           BusVariety{BusProgram::Broker, BusLimits::BuiltIn}),
                         NameOfBus);
INSTANTIATE_TEST_SUITE_P(OverChannels, AnEndpointWhoseBusIsKilledAtAnyMoment,
                         ::testing::ValuesIn(EveryBusWithChannels()), NameOfBus);

TEST_P(AnEndpointWhoseBusIsKilledAtAnyMoment, ComesBackEachTime) {
    for (int time = 0; time < 50; ++time) {
        for (int step = UpTo(40); step > 0; --step) DoAnything();
        if (UpTo(4) == 0) {
            Stand();
            TellMuch();
        }
        m_bus.Kill();
        m_clients.clear();
        m_asked.clear();
        m_bus.Start();
        ASSERT_TRUE(NewClient()->WaitForOwner(kApplistName)) << "time " << time << WholeLog();
        ASSERT_EQ("a call", NewClient()->Message("a call").body) << "time " << time;
        ForgetLog();
        m_endpoint->m_events.clear();
    }
    EXPECT_EQ(m_told, NewClient()->ReadSerial().number);
}
