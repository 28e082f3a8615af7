// SPDX-License-Identifier: MIT

// The service's name passes on: from one owner to the next without a moment in between, or to
// nobody, with calls under way and more of them waiting.

#include <stdexcept>

#include "partner/bus/BareRemote.h"
#include "partner/bus/HostileService.h"
#include "partner/bus/PartnerBusTest.h"
#include "remote/RemoteLimits.h"

class ASuccession : public PartnerBusTest {
protected:
    ASuccession() { m_first = ServiceWith("First\tfirst\n"); }

    std::unique_ptr<HostileService> ServiceWith(const std::string& list) const {
        auto service = std::make_unique<HostileService>(m_bus->Address());
        service->m_answerList = [list](sd_bus_message* call) {
            return HostileService::ReplyText(call, list);
        };
        return service;
    }

    void ShowTheFirst() {
        StartPartner();
        ASSERT_TRUE(Shows("First/first ()", kBack));
        m_witness->Take();
    }

    std::unique_ptr<HostileService> m_first;
};

ON_BOTH_BUSES(ASuccession);

TEST_P(ASuccession, IsFollowed) {
    ShowTheFirst();

    const auto second = ServiceWith("Second\tsecond\n");

    EXPECT_TRUE(Shows("Second/second ()", kBack));
    EXPECT_EQ((Strings{"changed", "gone", "there", "changed"}), m_witness->Take());
}

TEST_P(ASuccession, IsFollowedAlsoWhenAListenerThrows) {
    ShowTheFirst();
    m_witness->m_onTold = [](const std::string& what) {
        if (what == "gone") throw std::runtime_error("cannot draw");
    };

    const auto second = ServiceWith("Second\tsecond\n");

    EXPECT_TRUE(Shows("Second/second ()", kBack));
    EXPECT_EQ(1u, ErrorsLogged("cannot draw")) << WholeLog();
}

TEST_P(ASuccession, IsFollowedInTheMiddleOfManyWrites) {
    ShowTheFirst();
    RemoteAppListItem item("Written", "written");
    for (int count = 0; count < 100; ++count) m_model->AddItemAtEnd(&item);

    const auto second = ServiceWith("Second\tsecond\n");

    EXPECT_TRUE(Shows("Second/second ()", kBack));
    m_model->SetTimeout(milliseconds(100));  // a service on this loop does not answer meanwhile
    EXPECT_EQ("OutcomeUnknown", CauseOfSynchronize());
}

// ---- Calls that get no answer -------------------------------------------------------------------

class AServiceThatLeaves : public ASuccession {
protected:
    static constexpr std::size_t kUnderWay = applist::remote_limits::kMaxCallsUnderWay;

    // As many as may be under way, and two more.
    AServiceThatLeaves() {
        m_first->m_answerList = [](sd_bus_message*) { return 0; };
        for (std::size_t count = 0; count < kUnderWay + 2; ++count) m_remote.Ask();
        EXPECT_TRUE(RunUntil([&] { return m_first->CountOf("Message") == kUnderWay; }));
    }

    void ExpectThatTwoWereNeverSent() {
        ASSERT_TRUE(RunUntil([&] { return m_remote.m_outcomes.size() == kUnderWay + 2; }));
        Strings expected(kUnderWay, "OutcomeUnknown");
        expected.insert(expected.end(), 2, "NoService");
        EXPECT_EQ(expected, m_remote.m_outcomes);
    }

    BareRemote m_remote;
};

ON_BOTH_BUSES(AServiceThatLeaves);

TEST_P(AServiceThatLeaves, HasNotCarriedOutWhatWasNeverSent) {
    m_first.reset();

    ExpectThatTwoWereNeverSent();
}

TEST_P(AServiceThatLeaves, DoesNotPassWhatWasNeverSentOnToTheNext) {
    const auto second = ServiceWith("Second\tsecond\n");

    ExpectThatTwoWereNeverSent();
    m_remote.Ask();
    ASSERT_TRUE(RunUntil([&] { return m_remote.m_outcomes.size() == kUnderWay + 3; }));
    EXPECT_EQ("Second\tsecond\n", m_remote.m_outcomes.back());
    EXPECT_EQ(1u, second->CountOf("Message"));
}
