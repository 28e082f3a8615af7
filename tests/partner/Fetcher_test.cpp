// SPDX-License-Identifier: MIT

#include "partner/Fetcher.h"

#include <gtest/gtest.h>

#include <deque>
#include <new>
#include <string>
#include <vector>

#include "partner/QuietLog.h"
#include "support/RecordingAllocator.h"

using applist::Fetcher;
using applist::FetchPlan;
using applist::RemoteError;
using applist::RemoteReply;
using applist::Replica;
using std::chrono::microseconds;
using std::chrono::milliseconds;

namespace {

// A service whose answers the test gives, and a clock that it moves.
class TestPort : public applist::FetchPort {
public:
    void PostRequest(int messageId, applist::TesselDbusRemote::ReplyHandler onReply) override {
        if (m_hasNoMemory) throw std::bad_alloc();
        m_requests.push_back(messageId);
        if (m_refusal) {
            RemoteReply reply{{}, m_refusal};
            return onReply(reply);
        }
        m_underWay.push_back({messageId, std::move(onReply)});
    }

    microseconds Now() const override { return m_now; }

    void CallLater(microseconds delay, std::function<void()> callback) override {
        m_delays.push_back(delay);
        m_laterAt = m_now + delay;
        m_later = std::move(callback);
    }

    void ReplicaChanged(const Replica::Change& change) override {
        if (change.items) m_told += "items ";
        if (change.selection) m_told += "selection ";
        if (m_onChanged) m_onChanged(change);
    }

    // Answers what is under way.
    void Answer() {
        while (!m_underWay.empty()) AnswerOne();
    }

    void AnswerOne() {
        const Call call = std::move(m_underWay.front());
        m_underWay.pop_front();
        RemoteReply reply;
        const std::string& body = call.messageId == 2002 ? m_list : m_selection;
        reply.body.assign(body.begin(), body.end());
        reply.error = m_error;
        call.onReply(reply);
    }

    // Lets time pass, and what is due then happen.
    void RunFor(microseconds time) {
        const microseconds end = m_now + time;
        Answer();
        while (m_later && m_laterAt <= end) {
            RunUntilAsked();
            Answer();
        }
        m_now = end;
    }

    // Lets what is due next happen, and answers nothing.
    void RunUntilAsked() {
        m_now = m_laterAt;
        std::exchange(m_later, nullptr)();
    }

    std::vector<int> TakeRequests() { return std::exchange(m_requests, {}); }
    std::string TakeTold() { return std::exchange(m_told, {}); }

    std::string m_list = "A\ta\nB\tb\n";
    std::string m_selection = "A\ta\n";
    std::optional<RemoteError> m_error;
    std::optional<RemoteError> m_refusal;  // told at once
    bool m_hasNoMemory = false;
    std::function<void(const Replica::Change&)> m_onChanged;
    microseconds m_now{0};
    std::vector<microseconds> m_delays;

private:
    struct Call {
        int messageId;
        applist::TesselDbusRemote::ReplyHandler onReply;
    };

    std::vector<int> m_requests;
    std::string m_told;
    std::deque<Call> m_underWay;
    microseconds m_laterAt{0};
    std::function<void()> m_later;
};

using Ids = std::vector<int>;

}  // namespace

class AFetcher : public ::testing::Test {
protected:
    AFetcher() {
        ForgetLog();
        m_fetcher.ServiceIsThere();
        m_port.RunFor(milliseconds(1000));
        m_port.TakeRequests();
        m_port.TakeTold();
    }

    void AnswerListThenEmptyIt() {
        m_port.AnswerOne();
        m_port.m_list.clear();
        m_port.m_selection = "\t\n";
        m_fetcher.ListHasChanged();
        m_fetcher.SelectionHasChanged();
    }

    std::string Shown() const {
        std::string content;
        for (AppListItem* item : m_replica.GetAllItems()) content += item->GetVisibleName() + " ";
        return content + "(" + m_replica.GetSelection()->GetVisibleName() + ")";
    }

    TestPort m_port;
    Replica m_replica;
    Fetcher m_fetcher{m_replica, m_port};
};

TEST_F(AFetcher, ReadsListAndSelectionOfAChange) {
    m_port.m_list = "C\tc\n";
    m_port.m_selection = "C\tc\n";

    m_fetcher.ListHasChanged();
    m_port.Answer();

    EXPECT_EQ((Ids{2002, 2001}), m_port.TakeRequests());
    EXPECT_EQ("C (C)", Shown());
    EXPECT_EQ("items selection ", m_port.TakeTold());
}

TEST_F(AFetcher, ReadsTheSelectionAloneOfASelection) {
    m_port.m_selection = "B\tb\n";

    m_fetcher.SelectionHasChanged();
    m_port.RunFor(milliseconds(1000));

    EXPECT_EQ(Ids{2001}, m_port.TakeRequests());
    EXPECT_EQ("A B (B)", Shown());
    EXPECT_EQ("selection ", m_port.TakeTold());
}

TEST_F(AFetcher, ReadsTheListForASelectionThatItDoesNotHold) {
    m_port.m_list = "A\ta\nB\tb\nC\tc\n";
    m_port.m_selection = "C\tc\n";

    m_fetcher.SelectionHasChanged();
    m_port.Answer();
    EXPECT_EQ("A B (A)", Shown()) << "half of it is shown";
    m_port.RunFor(milliseconds(1000));

    EXPECT_EQ((Ids{2001, 2002, 2001}), m_port.TakeRequests());
    EXPECT_EQ("A B C (C)", Shown());
    EXPECT_EQ("items selection ", m_port.TakeTold());
}

// The list was answered before all items were removed, and the selection after that.
TEST_F(AFetcher, ShowsNoSelectionThatIsNewerThanTheList) {
    m_fetcher.ListHasChanged();
    AnswerListThenEmptyIt();
    m_port.Answer();
    EXPECT_EQ("A B (A)", Shown());
    EXPECT_EQ("", m_port.TakeTold());

    m_port.RunFor(FetchPlan::kFrame);

    EXPECT_EQ("()", Shown());
    EXPECT_EQ("items selection ", m_port.TakeTold());
}

TEST_F(AFetcher, ShowsItAllTheSameToWhoWaitsForIt) {
    m_fetcher.ReadNow();
    AnswerListThenEmptyIt();
    m_port.Answer();

    EXPECT_EQ("A B ()", Shown());
}

TEST_F(AFetcher, ShowsItWhenTheListChangesAllTheTime) {
    m_fetcher.ListHasChanged();
    for (int count = 0; count < 2; ++count) {
        EXPECT_EQ("A B (A)", Shown());
        m_port.m_list = "A\ta\nB\tb\n";
        AnswerListThenEmptyIt();
        m_port.Answer();
        m_port.RunUntilAsked();
    }

    EXPECT_EQ("A B ()", Shown());
}

TEST_F(AFetcher, TellsNobodyOfTheSameBytes) {
    m_fetcher.ListHasChanged();
    m_fetcher.SelectionHasChanged();
    m_port.RunFor(milliseconds(1000));

    EXPECT_EQ((Ids{2002, 2001, 2001}), m_port.TakeRequests());
    EXPECT_EQ("", m_port.TakeTold());
}

TEST_F(AFetcher, ReadsAgainWhatChangedDuringARead) {
    m_fetcher.ListHasChanged();

    m_fetcher.ListHasChanged();
    m_port.Answer();
    EXPECT_EQ((Ids{2002, 2001}), m_port.TakeRequests());
    m_port.RunFor(FetchPlan::kFrame);

    EXPECT_EQ((Ids{2002, 2001}), m_port.TakeRequests());
}

TEST_F(AFetcher, GoesByWhatReadsCostOnItsPortsClock) {
    for (int count = 0; count < 20; ++count) {
        m_port.RunFor(milliseconds(1000));
        m_fetcher.ListHasChanged();
        m_port.m_now += milliseconds(30);
        m_port.Answer();
    }
    m_port.m_delays.clear();

    m_fetcher.ListHasChanged();

    ASSERT_EQ(1u, m_port.m_delays.size());
    EXPECT_EQ(20 * milliseconds(30) - applist::Pace::kCredit - milliseconds(30),
              m_port.m_delays[0]);
}

TEST_F(AFetcher, SetsNoTimerWhileNothingIsStale) {
    m_port.m_delays.clear();

    m_fetcher.ListHasChanged();
    m_port.RunFor(milliseconds(10000));

    EXPECT_TRUE(m_port.m_delays.empty());
}

TEST_F(AFetcher, SetsOneTimerForABurst) {
    m_fetcher.ListHasChanged();
    m_port.Answer();
    m_port.m_delays.clear();

    for (int count = 0; count < 1000; ++count) m_fetcher.ListHasChanged();

    EXPECT_EQ(1u, m_port.m_delays.size());
}

TEST_F(AFetcher, TriesAgainWhatItCouldNotRead) {
    m_port.m_error = RemoteError(RemoteError::Cause::Refused, "Applist: refused");
    m_fetcher.ListHasChanged();
    m_port.RunFor(milliseconds(10000));
    ASSERT_TRUE(m_fetcher.Failure());
    EXPECT_EQ(1u, ErrorsLogged("refused")) << WholeLog();

    m_port.m_error.reset();
    m_port.m_list = "C\tc\n";
    m_port.RunFor(FetchPlan::kLastRetry);

    EXPECT_EQ("C (A)", Shown());
    EXPECT_FALSE(m_fetcher.Failure());
}

TEST_F(AFetcher, TriesAgainWhatItHadNoMemoryToAskFor) {
    m_port.m_list = "C\tc\n";
    m_port.m_hasNoMemory = true;
    EXPECT_THROW(m_fetcher.ListHasChanged(), std::bad_alloc);

    m_port.m_hasNoMemory = false;
    m_port.RunFor(FetchPlan::kFirstRetry);

    EXPECT_EQ("C (A)", Shown());
}

TEST_F(AFetcher, TellsOfAReadEvenIfThereIsNoMemoryForTheNext) {
    m_port.m_list = "C\tc\n";
    m_fetcher.ListHasChanged();
    m_fetcher.ListHasChanged();
    m_port.m_now += milliseconds(50);
    m_port.m_hasNoMemory = true;
    m_port.Answer();

    EXPECT_EQ("C (A)", Shown());
    EXPECT_EQ("items ", m_port.TakeTold());

    m_port.m_hasNoMemory = false;
    m_port.m_list = "D\td\n";
    m_port.RunFor(FetchPlan::kFirstRetry);

    EXPECT_EQ("D (A)", Shown());
}

TEST_F(AFetcher, SaysSoWhenThereIsNoMemoryForASelection) {
    m_port.m_selection = std::string(1000, 'B') + "\tb\n";
    m_fetcher.SelectionHasChanged();
    {
        // The first is the reply itself.
        const recording::FailingAllocation outOfMemory(2);
        m_port.Answer();
        EXPECT_TRUE(outOfMemory.HasFailed());
    }
    ASSERT_TRUE(m_fetcher.Failure());
    EXPECT_EQ(RemoteError::Cause::Failed, m_fetcher.Failure()->GetCause());

    m_port.m_selection = "B\tb\n";
    m_port.RunFor(milliseconds(1000));

    EXPECT_EQ("A B (B)", Shown());
}

TEST_F(AFetcher, RefusesASelectionThatIsNone) {
    for (const char* text : {"", "nonsense", "A\ta\nB\tb\n", "B\tb"}) {
        m_port.m_selection = text;
        m_fetcher.SelectionHasChanged();
        m_port.RunFor(milliseconds(1000));
        ASSERT_TRUE(m_fetcher.Failure()) << "took '" << text << "'";
        EXPECT_EQ(RemoteError::Cause::NotUnderstood, m_fetcher.Failure()->GetCause());
        EXPECT_EQ("A B (A)", Shown());
    }
    EXPECT_EQ(1u, ErrorsLogged("not a list of items")) << WholeLog();
    EXPECT_EQ("", m_port.TakeTold());
}

TEST_F(AFetcher, ReadsNowWhateverItWaitsFor) {
    m_fetcher.ServiceIsGone();
    m_fetcher.ServiceIsThere();
    m_port.TakeRequests();

    m_fetcher.ReadNow();
    m_port.RunFor(milliseconds(1000));

    EXPECT_EQ((Ids{2002, 2001}), m_port.TakeRequests());
}

// Each has its own; of 20 ms in microseconds, 20 equal ones do not come by chance.
TEST_F(AFetcher, WaitsAfterARestartForATimeOfItsOwn) {
    TestPort otherPort;
    Replica otherReplica;
    Fetcher other(otherReplica, otherPort);
    other.ServiceIsThere();
    EXPECT_EQ((Ids{2002, 2001}), otherPort.TakeRequests()) << "its first service is read at once";
    otherPort.Answer();
    m_port.m_delays.clear();

    for (int count = 0; count < 20; ++count) {
        for (Fetcher* fetcher : {&m_fetcher, &other}) {
            fetcher->ServiceIsGone();
            fetcher->ServiceIsThere();
        }
    }
    m_port.RunFor(milliseconds(1000));
    otherPort.RunFor(milliseconds(1000));

    EXPECT_NE(m_port.m_delays, otherPort.m_delays);
    for (const microseconds delay : m_port.m_delays) {
        EXPECT_GE(delay, microseconds(0));
        EXPECT_LE(delay, FetchPlan::kLongestSpread);
    }
    EXPECT_EQ((Ids{2002, 2001}), m_port.TakeRequests());
    EXPECT_EQ((Ids{2002, 2001}), otherPort.TakeRequests());
}

// The next read may be sent, and refused, before anybody hears of the items of this one.
TEST_F(AFetcher, HasReadTheListWhenItsItemsAreToldAndNotBefore) {
    std::vector<std::string> told;
    m_port.m_onChanged = [&](const Replica::Change& change) {
        told.push_back(std::string(change.items ? "items" : "nothing") +
                       (m_fetcher.IsListRead() ? ", read" : ", not read"));
    };
    m_fetcher.ServiceIsGone();
    m_fetcher.ServiceIsThere();
    m_port.RunUntilAsked();
    m_port.m_list += "C\tc\n";
    m_fetcher.SelectionHasChanged();
    m_port.m_now += 2 * FetchPlan::kFrame;
    m_port.m_refusal = RemoteError(RemoteError::Cause::TooMuch, "Applist: too much waits");

    m_port.Answer();

    EXPECT_EQ((std::vector<std::string>{"nothing, not read", "items, read"}), told);
}

// A read that began before a write says nothing of it.
TEST_F(AFetcher, TellsWhyTheLastReadNowFailedWhateverOthersDo) {
    m_fetcher.ReadNow();
    EXPECT_FALSE(m_fetcher.WhyNotReadNow());
    const auto refused = RemoteError(RemoteError::Cause::TooMuch, "Applist: too much waits");
    m_port.m_refusal = refused;
    m_fetcher.ReadNow();
    m_port.m_refusal.reset();

    m_port.Answer();

    ASSERT_TRUE(m_fetcher.WhyNotReadNow());
    EXPECT_EQ(RemoteError::Cause::TooMuch, m_fetcher.WhyNotReadNow()->GetCause());
    EXPECT_FALSE(m_fetcher.Failure()) << "the one before it succeeded, and later";
    m_fetcher.ReadNow();
    m_port.Answer();
    EXPECT_FALSE(m_fetcher.WhyNotReadNow());
}
