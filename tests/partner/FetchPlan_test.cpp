// SPDX-License-Identifier: MIT

#include "partner/FetchPlan.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <vector>

using applist::FetchPlan;
using applist::Pace;
using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::seconds;
using Outcome = FetchPlan::Outcome;
using Part = FetchPlan::Part;
using Step = FetchPlan::Step;
using Time = FetchPlan::Time;

// A plan and its clock. What the plan wants read is read, and takes what the test says.
class AFetchPlan : public ::testing::Test {
protected:
    void Appear() {
        m_plan.ServiceIsThere(m_now);
        Obey();
    }

    void Mark(Part part) {
        if (m_plan.MarkStale(part)) Obey();
    }

    // Does what there is to be done now.
    void Obey() {
        switch (m_plan.Next(m_now)) {
            case Step::Nothing: m_wakesAt = Time::max(); return;
            case Step::Wait: m_wakesAt = m_plan.Due(); return;
            case Step::ReadSelection: return Begin(Part::Selection);
            case Step::ReadList: return Begin(Part::List);
        }
    }

    void Begin(Part part) {
        (part == Part::List ? m_lists : m_selections).push_back(m_now);
        const FetchPlan::Read read = m_plan.Begin(part, m_now);
        m_now += part == Part::List ? m_listCost : m_selectionCost;
        m_plan.Finish(read, m_outcome, m_now);
        Obey();
    }

    void RunTo(Time end) {
        while (m_wakesAt <= end) {
            m_now = std::max(m_now, m_wakesAt);
            Obey();
        }
        m_now = std::max(m_now, end);
    }
    void RunFor(Time time) { RunTo(m_now + time); }

    // An event of each of `parts` every millisecond.
    void Flood(Time time, const std::vector<Part>& parts) {
        const Time end = m_now + time;
        for (Time at = m_now; at < end; at += milliseconds(1)) {
            RunTo(at);
            for (const Part part : parts) Mark(part);
        }
    }

    // The service is there, its costs are known, and all is quiet.
    void Settle() {
        Appear();
        for (int count = 0; count < 20; ++count) {
            RunFor(seconds(2));
            Mark(Part::List);
            RunFor(seconds(2));
            Mark(Part::Selection);
        }
        RunFor(seconds(10));
        Forget();
    }

    void Forget() {
        m_lists.clear();
        m_selections.clear();
    }

    // Between the starts of all reads of a list after the first `skipped`.
    std::vector<Time> Intervals(std::size_t skipped) const {
        std::vector<Time> intervals;
        for (std::size_t at = skipped + 1; at < m_lists.size(); ++at) {
            intervals.push_back(m_lists[at] - m_lists[at - 1]);
        }
        return intervals;
    }

    FetchPlan m_plan{1};
    Time m_now = seconds(1000);
    Time m_wakesAt = Time::max();
    Time m_listCost{300};
    Time m_selectionCost{200};
    Outcome m_outcome = Outcome::Shown;
    std::vector<Time> m_lists;  // when they were read
    std::vector<Time> m_selections;
};

TEST_F(AFetchPlan, ReadsNothingWithoutAService) {
    Mark(Part::List);
    Mark(Part::Selection);
    RunFor(seconds(60));

    EXPECT_TRUE(m_lists.empty());
    EXPECT_TRUE(m_selections.empty());
    EXPECT_FALSE(m_plan.IsServiceThere());
}

TEST_F(AFetchPlan, ReadsTheListOfItsFirstServiceAtOnceAndOnce) {
    const Time start = m_now;

    Appear();
    RunFor(seconds(60));

    EXPECT_EQ((std::vector<Time>{start}), m_lists);
    EXPECT_TRUE(m_selections.empty()) << "it is read with the list";
}

TEST_F(AFetchPlan, ReadsTheFirstEventAfterQuietAtOnce) {
    Settle();
    const Time start = m_now;

    Mark(Part::List);
    RunFor(seconds(60));

    EXPECT_EQ((std::vector<Time>{start}), m_lists);
}

TEST_F(AFetchPlan, ReadsTheSelectionAloneWhenItAloneHasChanged) {
    Settle();
    const Time start = m_now;

    Mark(Part::Selection);
    RunFor(seconds(60));

    EXPECT_TRUE(m_lists.empty());
    EXPECT_EQ((std::vector<Time>{start}), m_selections);
}

TEST_F(AFetchPlan, ReadsTheListAfterASelectionThatIsNotInIt) {
    Settle();
    m_outcome = Outcome::ListIsNeeded;
    Mark(Part::Selection);
    ASSERT_EQ(1u, m_selections.size());

    m_outcome = Outcome::Shown;
    RunFor(seconds(60));

    EXPECT_EQ(1u, m_lists.size());
    EXPECT_EQ(1u, m_selections.size());
}

TEST_F(AFetchPlan, WaitsAFrameBetweenTwoReadsOfAnyKind) {
    Settle();
    const Time start = m_now;

    Mark(Part::List);
    Mark(Part::Selection);
    RunFor(seconds(60));

    ASSERT_EQ(1u, m_selections.size());
    EXPECT_EQ(start + FetchPlan::kFrame, m_selections[0]);
}

// Woken late once, it is behind once.
TEST_F(AFetchPlan, ShowsEveryChangeOfASteadyStreamAfterALateOne) {
    Settle();
    const Time period(16667);
    Time at = m_now;
    const auto change = [&](Time late) {
        at += period;
        RunTo(at + late);
        Mark(Part::List);
    };
    for (int count = 0; count < 30; ++count) change(Time(0));
    change(milliseconds(10));
    Forget();

    for (int count = 0; count < 30; ++count) {
        change(Time(0));
        ASSERT_EQ(static_cast<std::size_t>(count) + 1, m_lists.size());
        EXPECT_EQ(at, m_lists.back()) << "change " << count;
    }
}

TEST_F(AFetchPlan, ReadsNoMoreThanOnceAFrameHoweverLateItWas) {
    Settle();
    RunFor(seconds(1));
    for (int length = 1; length < 100; ++length) {
        Forget();
        Flood(milliseconds(length), {Part::List});
        RunFor(seconds(1));

        EXPECT_LE(m_lists.size(), static_cast<std::size_t>(length) / 16 + 2) << length << " ms";
    }
}

TEST_F(AFetchPlan, ReadsASelectionTogetherWithAListThatIsDue) {
    Settle();
    Mark(Part::List);

    Mark(Part::List);
    Mark(Part::Selection);
    RunFor(seconds(60));

    EXPECT_EQ(2u, m_lists.size());
    EXPECT_TRUE(m_selections.empty());
}

TEST_F(AFetchPlan, ReadsAgainWhatChangedDuringARead) {
    Settle();
    const FetchPlan::Read read = m_plan.Begin(Part::List, m_now);
    EXPECT_FALSE(m_plan.MarkStale(Part::List)) << "there is nothing to do until it is finished";
    EXPECT_EQ(Step::Nothing, m_plan.Next(m_now + seconds(1)));

    m_plan.Finish(read, Outcome::Shown, m_now);

    EXPECT_EQ(Step::Wait, m_plan.Next(m_now));
    EXPECT_EQ(Step::ReadList, m_plan.Next(m_now + FetchPlan::kFrame));
}

TEST_F(AFetchPlan, NeverLeavesTheLastEventOfABurstOut) {
    for (int length = 1; length < 60; ++length) {
        Settle();
        Flood(milliseconds(length), {Part::List});
        const Time end = m_now;

        RunFor(seconds(5));

        EXPECT_GT(m_lists.back(), end - milliseconds(2)) << "a burst of " << length << " ms";
        EXPECT_LE(m_lists.back(), end + FetchPlan::kFrame) << "a burst of " << length << " ms";
    }
}

TEST_F(AFetchPlan, ReadsOnceAFrameAndTwiceMoreInABurst) {
    Settle();

    Flood(seconds(1), {Part::List, Part::Selection});
    RunFor(seconds(5));

    EXPECT_LE(m_lists.size() + m_selections.size(), 1000u / 16 + 2);
    EXPECT_GE(m_lists.size(), 1000u / 17) << "as often as it may";
}

// ---- Costs --------------------------------------------------------------------------------------

TEST_F(AFetchPlan, WaitsNineteenTimesWhatReadsCost) {
    m_listCost = milliseconds(5);
    Settle();

    Flood(seconds(10), {Part::List});

    for (const Time interval : Intervals(5)) EXPECT_EQ(20 * m_listCost, interval);
    EXPECT_GT(Intervals(5).size(), 50u);
}

TEST_F(AFetchPlan, SpendsATwentiethOfTheTimeOnReadingWhateverAReadCosts) {
    for (const int cost : {1, 2, 5, 10, 20, 50}) {
        m_listCost = m_selectionCost = milliseconds(cost);
        Settle();

        Flood(seconds(60), {Part::List});

        // Rest has paid for a few reads at the start.
        const Time spent = static_cast<int>(m_lists.size()) * m_listCost;
        EXPECT_LE(spent, seconds(60) / 20 + Pace::kCredit / 20 + m_listCost) << cost << " ms";
    }
}

TEST_F(AFetchPlan, WaitsASecondAtMost) {
    m_listCost = milliseconds(400);
    Settle();

    Flood(seconds(60), {Part::List});

    for (const Time interval : Intervals(5)) {
        EXPECT_EQ(m_listCost + Pace::kLongestPause, interval);
    }
}

TEST_F(AFetchPlan, IsNotSlowedDownByADozenSlowReadsInARow) {
    Settle();
    Flood(milliseconds(500), {Part::List});

    m_listCost = milliseconds(10);
    for (int count = 0; count < 12; ++count) {
        Mark(Part::List);
        RunTo(m_wakesAt);
    }
    m_listCost = microseconds(300);
    Forget();
    Flood(milliseconds(500), {Part::List});

    EXPECT_GE(m_lists.size(), 500u / 17);
}

TEST_F(AFetchPlan, IsNotSlowedDownByASlowStart) {
    m_listCost = milliseconds(100);
    Appear();
    m_listCost = microseconds(300);
    const Time start = m_now;

    Mark(Part::List);
    Mark(Part::List);
    RunFor(seconds(5));

    ASSERT_EQ(3u, m_lists.size());
    EXPECT_EQ(start, m_lists[1]);
    EXPECT_EQ(start + FetchPlan::kFrame, m_lists[2]);
}

// Waking up costs 10 ms, each time: there is no other cost to go by.
TEST_F(AFetchPlan, IsNotSlowInABurstBecauseEachReadBeforeItCameAfterARest) {
    m_listCost = milliseconds(10);
    Appear();
    for (int count = 0; count < 20; ++count) {
        RunFor(seconds(1));
        Mark(Part::List);
    }
    RunFor(seconds(1));
    Forget();

    Mark(Part::List);
    m_listCost = microseconds(300);
    Flood(seconds(1), {Part::List});

    EXPECT_GE(m_lists.size(), 1000u / 17);
}

TEST_F(AFetchPlan, SlowsDownWhenTheListHasGrown) {
    Settle();
    m_listCost = milliseconds(5);

    Flood(seconds(10), {Part::List});

    const std::vector<Time> intervals = Intervals(Pace::kCostsThatCount + 3);
    for (const Time interval : intervals) EXPECT_EQ(20 * m_listCost, interval);
    EXPECT_GT(intervals.size(), 50u);
}

TEST_F(AFetchPlan, ReadsSelectionsOfALargeListAsOftenAsOfASmallOne) {
    m_listCost = milliseconds(5);
    Settle();
    Flood(seconds(1), {Part::List, Part::Selection});
    Forget();

    Flood(seconds(10), {Part::List, Part::Selection});

    EXPECT_GE(m_lists.size() + m_selections.size(), 10000u / 18);
    EXPECT_LE(m_lists.size() + m_selections.size(), 10000u / 16 + 2);
    // The list waits for the end of the frame that a selection has begun.
    for (const Time interval : Intervals(0)) {
        EXPECT_LE(interval, 20 * m_listCost + FetchPlan::kFrame + m_selectionCost);
    }
    EXPECT_LE(m_lists.size(), seconds(10) / (20 * m_listCost) + 1u) << "5 % of the time";
}

TEST_F(AFetchPlan, DoesNotTakeTheTimeThatWritesTakeForTheCostOfReading) {
    Settle();
    for (std::size_t count = 0; count <= Pace::kCostsThatCount; ++count) {
        const FetchPlan::Read read = m_plan.BeginOutOfTurn(m_now);
        m_now += milliseconds(200);
        m_plan.Finish(read, Outcome::Shown, m_now);
        Obey();
    }

    Flood(seconds(1), {Part::List});

    EXPECT_GE(m_lists.size(), 1000u / 17);
}

// ---- Failures -----------------------------------------------------------------------------------

TEST_F(AFetchPlan, TriesAgainSoonAndThenEverySecond) {
    Settle();
    m_outcome = Outcome::Failed;
    m_listCost = Time(0);
    const Time start = m_now;

    Mark(Part::List);
    RunFor(seconds(5));

    std::vector<Time::rep> tries;
    for (const Time at : m_lists) tries.push_back((at - start) / milliseconds(1));
    EXPECT_EQ((std::vector<Time::rep>{0, 100, 300, 700, 1500, 2500, 3500, 4500}), tries);
}

TEST_F(AFetchPlan, TriesNoEarlierBecauseAnEventComes) {
    Settle();
    m_outcome = Outcome::Failed;

    Flood(seconds(60), {Part::List, Part::Selection});

    EXPECT_LE(m_lists.size() + m_selections.size(), 64u);
}

TEST_F(AFetchPlan, TriesAgainSoonAfterAReadThatWentWell) {
    Settle();
    m_outcome = Outcome::Failed;
    Mark(Part::List);
    RunFor(seconds(60));
    m_outcome = Outcome::Shown;
    RunFor(seconds(60));
    Forget();

    m_outcome = Outcome::Failed;
    Mark(Part::List);
    m_outcome = Outcome::Shown;
    RunFor(FetchPlan::kFirstRetry);

    EXPECT_EQ(2u, m_lists.size());
}

TEST_F(AFetchPlan, TriesAgainSoonWithANewService) {
    Settle();
    m_outcome = Outcome::Failed;
    Mark(Part::List);
    RunFor(seconds(60));
    m_plan.ServiceIsGone();
    Obey();
    Appear();
    RunFor(FetchPlan::kLongestSpread);
    Forget();
    m_outcome = Outcome::Shown;
    RunFor(FetchPlan::kFirstRetry);

    EXPECT_EQ(1u, m_lists.size()) << "how long the old one failed says nothing about this one";
}

TEST_F(AFetchPlan, TriesAgainSoonAfterAReadOutOfTurnThatWentWell) {
    Settle();
    m_outcome = Outcome::Failed;
    Mark(Part::List);
    RunFor(seconds(60));
    m_plan.Finish(m_plan.BeginOutOfTurn(m_now), Outcome::Shown, m_now);
    Obey();
    RunFor(seconds(2));
    Forget();

    Mark(Part::List);
    m_outcome = Outcome::Shown;
    RunFor(FetchPlan::kFirstRetry);

    EXPECT_EQ(2u, m_lists.size());
}

TEST_F(AFetchPlan, TriesAgainSoonHoweverLongItsListTakes) {
    m_listCost = milliseconds(45);
    Settle();
    Mark(Part::List);
    m_outcome = Outcome::Failed;
    Mark(Part::Selection);
    RunFor(FetchPlan::kFrame);
    ASSERT_EQ(1u, m_selections.size());
    m_outcome = Outcome::Shown;

    RunFor(FetchPlan::kFirstRetry);

    EXPECT_EQ(2u, m_lists.size());
}

TEST_F(AFetchPlan, ReadsAllAgainAfterASelectionThatCouldNotBeRead) {
    Settle();
    m_outcome = Outcome::Failed;
    Mark(Part::Selection);
    m_outcome = Outcome::Shown;

    RunFor(seconds(60));

    EXPECT_EQ(1u, m_lists.size());
    EXPECT_EQ(1u, m_selections.size());
}

// ---- The service goes and comes -----------------------------------------------------------------

TEST_F(AFetchPlan, ReadsNothingOfAServiceThatIsGone) {
    Settle();
    Mark(Part::List);
    Mark(Part::List);

    m_plan.ServiceIsGone();
    Forget();
    RunFor(seconds(60));
    Mark(Part::List);
    RunFor(seconds(60));

    EXPECT_TRUE(m_lists.empty());
}

TEST_F(AFetchPlan, SpreadsTheFirstReadsAfterRestartsOverTwentyMilliseconds) {
    std::vector<Time> delays;
    Appear();
    for (int count = 0; count < 1000; ++count) {
        m_plan.ServiceIsGone();
        Forget();
        const Time start = m_now;
        Appear();
        RunFor(seconds(1));
        ASSERT_EQ(1u, m_lists.size());
        delays.push_back(m_lists[0] - start);
    }

    EXPECT_GE(*std::min_element(delays.begin(), delays.end()), Time(0));
    EXPECT_LT(*std::min_element(delays.begin(), delays.end()), milliseconds(1));
    EXPECT_GT(*std::max_element(delays.begin(), delays.end()), milliseconds(19));
    EXPECT_LE(*std::max_element(delays.begin(), delays.end()), milliseconds(20));
}

// Each partner draws for the first time when its service restarts for the first time.
TEST(FetchPlans, SpreadTheirFirstReadsByTheirSeeds) {
    constexpr int kSeeds = 1000;
    std::array<int, 4> quarters = {};
    for (std::uint32_t seed = 1; seed <= kSeeds; ++seed) {
        FetchPlan plan(seed);
        plan.ServiceIsThere(Time(0));
        plan.ServiceIsGone();
        plan.ServiceIsThere(Time(0));
        const Time delay = plan.Due();
        ASSERT_GE(delay, Time(0));
        ASSERT_LE(delay, FetchPlan::kLongestSpread);
        ++quarters.at(static_cast<std::size_t>(4 * delay / (FetchPlan::kLongestSpread + Time(1))));
    }
    for (const int count : quarters) EXPECT_GT(count, kSeeds / 5);
}

TEST_F(AFetchPlan, ReadsANewServiceWithoutWaitingForThePaceOfTheOldOne) {
    m_listCost = milliseconds(400);
    Settle();
    Flood(seconds(5), {Part::List});

    m_plan.ServiceIsGone();
    Forget();
    const Time start = m_now;
    Appear();
    RunFor(seconds(1));

    ASSERT_FALSE(m_lists.empty());
    EXPECT_LE(m_lists[0] - start, FetchPlan::kLongestSpread);
}

TEST_F(AFetchPlan, ReadsOutOfTurnWithoutWaitingForItsShareOfTheSpread) {
    Appear();
    m_plan.ServiceIsGone();
    m_plan.ServiceIsThere(m_now);
    Forget();

    const FetchPlan::Read read = m_plan.BeginOutOfTurn(m_now);
    EXPECT_EQ(Step::Nothing, m_plan.Next(m_now + seconds(1))) << "one is under way";
    m_plan.Finish(read, Outcome::Shown, m_now);

    EXPECT_EQ(Step::Nothing, m_plan.Next(m_now + seconds(1))) << "nothing is stale any more";
}

TEST_F(AFetchPlan, WaitsForAllReadsThatAreUnderWay) {
    Settle();
    const FetchPlan::Read first = m_plan.Begin(Part::List, m_now);
    const FetchPlan::Read second = m_plan.BeginOutOfTurn(m_now);
    m_plan.MarkStale(Part::List);

    m_plan.Finish(first, Outcome::Shown, m_now);
    EXPECT_EQ(Step::Nothing, m_plan.Next(m_now + seconds(1)));
    m_plan.Finish(second, Outcome::Shown, m_now);
    EXPECT_EQ(Step::ReadList, m_plan.Next(m_now + seconds(1)));
}

TEST_F(AFetchPlan, ReadsOutOfTurnAlsoWithoutAService) {
    const FetchPlan::Read read = m_plan.BeginOutOfTurn(m_now);
    m_plan.Finish(read, Outcome::Failed, m_now);

    EXPECT_EQ(Step::Nothing, m_plan.Next(m_now + seconds(60)));
    EXPECT_FALSE(m_plan.IsServiceThere());
    const Time start = m_now;
    Appear();
    EXPECT_EQ((std::vector<Time>{start}), m_lists);
}
