// SPDX-License-Identifier: MIT

// What a stranger on the bus sends to a partner in the name of the bus, of the service, or of the
// bus library: the partner does nothing about any of it.

#include <sys/socket.h>

#include <algorithm>

#include "partner/bus/HostileService.h"
#include "partner/bus/PartnerBusTest.h"
#include "support/Forger.h"
#include "support/TestFd.h"

using applist::UniqueMessage;

namespace {

const char kEndpoint[] = "org.tessel.Local.Applist";

}  // namespace

class APartnerThatIsLiedTo : public PartnerBusTest {
protected:
    APartnerThatIsLiedTo() : m_hostile(m_bus->Address()), m_forger(m_bus->Address()) {
        AnswerWith("Maps\tmaps\n");
    }

    void AnswerWith(const std::string& list) {
        m_hostile.m_answerList = [list](sd_bus_message* call) {
            return HostileService::ReplyText(call, list);
        };
    }

    void ShowMaps() {
        StartPartner();
        ASSERT_TRUE(Shows("Maps/maps ()", kBack));
        ASSERT_TRUE(RunUntil([this] { return m_hostile.CountOf("Connect") == 1; }));
        m_bus->WaitUntilIdle();
        RunWhatIsReady();
        m_witness->Take();
        m_partner = m_hostile.m_lastCaller;
    }

    void Lie(const Forger::Signal& signal) {
        m_forger.Send(
            signal, m_partner,
            {"org.freedesktop.DBus", "org.freedesktop.DBus.Local", kEndpoint, m_hostile.Name()});
    }

    // The comparison that every partner makes now and then is left out.
    Strings Calls() const {
        Strings calls = m_hostile.m_calls;
        calls.erase(std::remove(calls.begin(), calls.end(), "Get"), calls.end());
        return calls;
    }

    void ExpectNoReactionTo(const Forger::Signal& signal) {
        const Strings before = Calls();

        Lie(signal);

        EXPECT_EQ(before, Calls());
        EXPECT_EQ(Strings{}, m_forger.m_calls) << "it believes that the stranger is the service";
        EXPECT_EQ(Strings{}, m_witness->Take());
        EXPECT_TRUE(m_model->IsServiceThere());
        EXPECT_EQ("Maps/maps ()", DigestOf(*m_model));
        EXPECT_EQ("", WholeLog());
        ExpectThatItStillFollowsTheService();
    }

    void ExpectThatItStillFollowsTheService() {
        AnswerWith("Radio\tradio\n");
        m_hostile.TellOfChange();
        EXPECT_TRUE(Shows("Radio/radio ()", kBack));
        EXPECT_EQ(m_partner, m_hostile.m_lastCaller) << "it has connected anew";
        EXPECT_EQ(1u, m_hostile.CountOf("Connect"));
    }

    HostileService m_hostile;
    Forger m_forger;
    std::string m_partner;
};

INSTANTIATE_TEST_SUITE_P(OnEveryBus, APartnerThatIsLiedTo, ::testing::ValuesIn(EveryBus()),
                         [](const auto& test) { return NameOf(test.param); });

TEST_P(APartnerThatIsLiedTo, IsNotTakenOverByAForgedOwner) {
    ShowMaps();
    ExpectNoReactionTo(NameOwnerChanged(kEndpoint, m_hostile.Name(), m_forger.Name()));
}

TEST_P(APartnerThatIsLiedTo, KeepsAServiceThatIsSaidToHaveLeft) {
    ShowMaps();
    ExpectNoReactionTo(NameOwnerChanged(kEndpoint, m_hostile.Name(), ""));
}

TEST_P(APartnerThatIsLiedTo, KeepsAServiceWhoseConnectionIsSaidToHaveEnded) {
    ShowMaps();
    ExpectNoReactionTo(NameOwnerChanged(m_hostile.Name(), m_hostile.Name(), ""));
}

TEST_P(APartnerThatIsLiedTo, KeepsAConnectionThatIsSaidToBeLost) {
    ShowMaps();
    ExpectNoReactionTo(NameLost(m_partner));
}

TEST_P(APartnerThatIsLiedTo, TakesNoNameThatItIsSaidToHave) {
    ShowMaps();
    ExpectNoReactionTo(NameAcquired(kEndpoint));
}

TEST_P(APartnerThatIsLiedTo, KeepsABusThatIsSaidToBeGone) {
    ShowMaps();
    ExpectNoReactionTo(Disconnected());
}

TEST_P(APartnerThatIsLiedTo, ReadsNothingAfterAForgedNotification) {
    ShowMaps();
    ExpectNoReactionTo(ListChanged());
}

// A connection takes a reply by its number alone, and numbers are easily guessed. That the bus
// passes on no reply which was not asked for is what keeps a stranger's out.
TEST_P(APartnerThatIsLiedTo, ShowsNoListFromAForgedReply) {
    sd_bus_message* call = nullptr;
    m_hostile.m_answerList = [&](sd_bus_message* question) {
        call = sd_bus_message_ref(question);
        return 0;
    };
    StartPartner();
    ASSERT_TRUE(RunUntil([&] { return call != nullptr; }));
    m_witness->Take();
    std::uint64_t cookie = 0;
    ASSERT_GE(sd_bus_message_get_cookie(call, &cookie), 0);

    m_forger.Reply(m_hostile.m_lastCaller, cookie, cookie, [](sd_bus_message* reply) {
        const std::string list = "Forged\tforged\n";
        return sd_bus_message_append_array(reply, 'y', list.data(), list.size());
    });

    EXPECT_EQ("()", DigestOf(*m_model));
    EXPECT_EQ(Strings{}, m_witness->Take());
    HostileService::ReplyText(call, "Maps\tmaps\n");
    sd_bus_message_unref(call);
    EXPECT_TRUE(Shows("Maps/maps ()", kBack));
}

// Whatever it takes in place of the service's answer, it goes nowhere but to the service.
TEST_P(APartnerThatIsLiedTo, TakesNoChannelFromAStranger) {
    UniqueMessage call;
    m_hostile.m_answerChannel = [&](sd_bus_message* question) {
        call.reset(sd_bus_message_ref(question));
        return 0;
    };
    StartPartner();
    ASSERT_TRUE(RunUntil([&] { return call != nullptr; }));
    std::uint64_t cookie = 0;
    ASSERT_GE(sd_bus_message_get_cookie(call.get(), &cookie), 0);
    int ends[2];
    ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends));
    const TestFd strangers(ends[0]);
    const TestFd partners(ends[1]);

    m_forger.Reply(m_hostile.m_lastCaller, cookie, cookie, [&](sd_bus_message* reply) {
        return sd_bus_message_append(reply, "h", partners.Get());
    });

    char byte = 0;
    EXPECT_EQ(-1, recv(strangers.Get(), &byte, 1, MSG_DONTWAIT)) << "it speaks to the stranger";
    m_hostile.GiveChannel(call.get());
    EXPECT_TRUE(Shows("Maps/maps ()", kBack));
    EXPECT_TRUE(RunUntil([&] {
        return m_hostile.CountOf("Connect") == 1 &&
               (NewsLogged("a stranger has answered") == 1 || !m_hostile.m_overChannel.empty());
    }));
}

TEST_P(APartnerThatIsLiedTo, LearnsNoOwnerFromAForgedReply) {
    bool hasConnected = false;
    m_hostile.m_answerConnect = [&](sd_bus_message*) {
        hasConnected = true;
        return 0;
    };
    m_hostile.m_answerSerial = [](sd_bus_message*) { return 0; };
    StartPartner();
    ASSERT_TRUE(RunUntil([&] { return hasConnected; }));

    m_forger.Reply(m_hostile.m_lastCaller, 1, 64, [this](sd_bus_message* reply) {
        return sd_bus_message_append(reply, "s", m_forger.Name().c_str());
    });

    EXPECT_EQ(Strings{}, m_forger.m_calls);
    EXPECT_FALSE(m_model->IsServiceThere());
    EXPECT_EQ("", WholeLog());
}
