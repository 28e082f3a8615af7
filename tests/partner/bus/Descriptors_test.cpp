// SPDX-License-Identifier: MIT

// When a body travels in a descriptor: from one size on, whatever the bus.

#include "partner/bus/BareRemote.h"
#include "partner/bus/HostileService.h"
#include "partner/bus/PartnerBusTest.h"
#include "remote/RemoteLimits.h"

using applist::remote_limits::kFdBytes;

class ALargeBody : public PartnerBusTest {
protected:
    ALargeBody() {
        EXPECT_TRUE(
            RunUntil([&] { return m_remote.m_isReady && m_hostile.CountOf("Connect") == 1; }));
        m_hostile.m_calls.clear();
    }

    // With which member a request of `size` bytes gets there.
    std::string MemberFor(std::size_t size) {
        m_hostile.m_calls.clear();
        m_remote.Ask(std::vector<char>(size));
        return MemberOfNextCall();
    }

    std::string MemberForTheList() {
        m_hostile.m_calls.clear();
        m_remote.Ask();
        return MemberOfNextCall();
    }

    void AnswerWith(std::size_t size) {
        m_hostile.m_answerList = [size](sd_bus_message* call) {
            return HostileService::ReplyText(call, std::string(size, 'x'));
        };
    }

    HostileService m_hostile{m_bus->Address()};
    BareRemote m_remote;

private:
    std::string MemberOfNextCall() {
        m_remote.m_outcomes.clear();
        EXPECT_TRUE(RunUntil([&] { return !m_remote.m_outcomes.empty(); }));
        for (const std::string& member : m_hostile.m_calls) {
            if (member != "Get") return member;
        }
        return "nothing";
    }
};

ON_BOTH_BUSES(ALargeBody);

TEST_P(ALargeBody, TravelsInTheMessageUpToTheLimitOfItsBus) {
    EXPECT_EQ("Message", MemberFor(kFdBytes - 1));
    EXPECT_EQ("Message", MemberFor(kFdBytes));
}

TEST_P(ALargeBody, TravelsInADescriptorBeyondTheLimitOfItsBus) {
    EXPECT_EQ("MessageFd", MemberFor(kFdBytes + 1));
}

TEST_P(ALargeBody, IsAskedForInADescriptorTheNextTimeWhenItWasAReply) {
    AnswerWith(kFdBytes + 1);

    EXPECT_EQ("Message", MemberForTheList());
    EXPECT_EQ("MessageFd", MemberForTheList());
    EXPECT_EQ("MessageFd", MemberForTheList());
}

TEST_P(ALargeBody, IsNotAskedForInADescriptorAnyMoreWhenItBecameSmall) {
    AnswerWith(kFdBytes + 1);
    MemberForTheList();
    AnswerWith(kFdBytes / 2 - 1);

    EXPECT_EQ("MessageFd", MemberForTheList());
    EXPECT_EQ("Message", MemberForTheList());
}

TEST_P(ALargeBody, IsAskedForInADescriptorStillWhenItBecameALittleSmaller) {
    AnswerWith(kFdBytes + 1);
    MemberForTheList();
    AnswerWith(kFdBytes / 2);

    EXPECT_EQ("MessageFd", MemberForTheList());
    EXPECT_EQ("MessageFd", MemberForTheList());
}
