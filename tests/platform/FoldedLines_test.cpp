// SPDX-License-Identifier: MIT

#include "platform/FoldedLines.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

using applist::FoldedLines;
using applist::LogLine;
using std::chrono::milliseconds;
using Strings = std::vector<std::string>;

namespace {

// A log that folds its lines, under a clock that a test moves.
class AFoldingLog : public ::testing::Test {
protected:
    int Log(const std::string& text, int priority = 6, const std::string& tag = "applist") {
        LogLine line;
        line.priority = priority;
        line.tag = tag;
        line.text = text;
        return m_folded.Print(std::move(line), m_now);
    }

    Strings Take() {
        Strings written;
        m_written.swap(written);
        return written;
    }

    // Each line has the result 1 more than the one before it, or else -11.
    FoldedLines m_folded{[this](const LogLine&, const std::string& text) {
        if (!m_takesLines) return -11;
        m_written.push_back(text);
        return ++m_result;
    }};
    FoldedLines::Time m_now{123456};
    Strings m_written;
    bool m_takesLines = true;
    int m_result = 0;
};

}  // namespace

TEST_F(AFoldingLog, WritesLinesThatDiffer) {
    Log("a");
    Log("b");

    EXPECT_EQ((Strings{"a", "b"}), Take());
}

TEST_F(AFoldingLog, WritesTheFirstOfManyAndTellsTheirNumberOnceASecond) {
    for (int millisecond = 0; millisecond < 2500; ++millisecond, m_now += milliseconds(1)) Log("a");

    EXPECT_EQ((Strings{"a", "1000 times more: a", "1000 times more: a"}), Take());
    m_folded.Stop(m_now);
    EXPECT_EQ(Strings{"499 times more: a"}, Take());
    m_folded.Stop(m_now);
    EXPECT_EQ(Strings{}, Take());
}

TEST_F(AFoldingLog, WritesEveryLineOnceItIsStopped) {
    Log("a");
    m_folded.Stop(m_now);
    Log("a");
    Log("b");
    Log("b");

    EXPECT_EQ((Strings{"a", "a", "b", "b"}), Take());
}

TEST_F(AFoldingLog, ReturnsForALineThatIsCountedWhatItReturnedForTheFirst) {
    EXPECT_EQ(1, Log("a"));
    EXPECT_EQ(2, Log("b"));
    EXPECT_EQ(1, Log("a"));
}

TEST_F(AFoldingLog, RemembersNoLineThatCouldNotBeWritten) {
    m_takesLines = false;
    EXPECT_EQ(-11, Log("a"));
    m_takesLines = true;
    Log("a");

    EXPECT_EQ(Strings{"a"}, Take());
}

TEST_F(AFoldingLog, TellsANumberLaterThatCouldNotBeToldAndWritesNothingNewBeforeIt) {
    Log("a");
    Log("a");
    m_now += FoldedLines::kEvery;
    m_takesLines = false;
    EXPECT_EQ(1, Log("a"));
    EXPECT_EQ(-11, Log("b"));
    m_takesLines = true;
    Log("c");

    EXPECT_EQ((Strings{"a", "2 times more: a", "c"}), Take());
}

TEST_F(AFoldingLog, TellsTheNumberWithTheNextLineOfAnyKind) {
    Log("a");
    Log("a");
    m_now += FoldedLines::kEvery;

    Log("b");

    EXPECT_EQ((Strings{"a", "1 time more, the last 1 s ago: a", "b"}), Take());
}

TEST_F(AFoldingLog, SaysHowLongAgoTheLastOneWasWhenThatIsLong) {
    Log("a");
    Log("a");
    Log("a");
    m_now += milliseconds(3600 * 1000);

    Log("b");

    EXPECT_EQ((Strings{"a", "2 times more, the last 3600 s ago: a", "b"}), Take());
}

TEST_F(AFoldingLog, WritesALineThatComesAgainAfterASecond) {
    for (int time = 0; time < 3; ++time) {
        Log("a");
        m_now += FoldedLines::kEvery;
    }

    EXPECT_EQ((Strings{"a", "a", "a"}), Take());
}

TEST_F(AFoldingLog, CountsALineThatComesAgainJustBefore) {
    Log("a");
    m_now += FoldedLines::kEvery - milliseconds(1);
    Log("a");

    EXPECT_EQ(Strings{"a"}, Take());
}

TEST_F(AFoldingLog, CountsLinesThatTakeTurns) {
    for (int round = 0; round < 100; ++round) {
        for (std::size_t line = 0; line < FoldedLines::kMost; ++line) Log(std::to_string(line));
    }

    EXPECT_EQ(FoldedLines::kMost, Take().size());
}

TEST_F(AFoldingLog, WritesLinesThatTakeTurnsWhenThereAreTooMany) {
    for (int round = 0; round < 10; ++round) {
        for (std::size_t line = 0; line <= FoldedLines::kMost; ++line) {
            Log(std::to_string(line));
            m_now += milliseconds(1);
        }
    }

    EXPECT_EQ(10 * (FoldedLines::kMost + 1), Take().size());
}

TEST_F(AFoldingLog, TellsTheNumberOfALineWhosePlaceIsNeeded) {
    Log("a");
    Log("a");
    m_now += milliseconds(1);
    for (std::size_t line = 0; line < FoldedLines::kMost; ++line) Log(std::to_string(line));

    const Strings written = Take();
    ASSERT_EQ(FoldedLines::kMost + 2, written.size());
    EXPECT_EQ("1 time more: a", written[written.size() - 2]);
}

TEST_F(AFoldingLog, LosesNoNumberWhenEachPlaceIsNeeded) {
    for (std::size_t line = 0; line < 2 * FoldedLines::kMost; ++line) {
        for (int time = 0; time < 2; ++time) Log(std::to_string(line));
        m_now += milliseconds(1);
    }
    Take();
    for (std::size_t line = 0; line < FoldedLines::kMost; ++line)
        Log("new " + std::to_string(line));

    Strings told;
    for (const std::string& line : Take()) {
        if (line.compare(0, 8, "1 time m") == 0) told.push_back(line);
    }
    EXPECT_EQ(FoldedLines::kMost, told.size());
}

TEST_F(AFoldingLog, TellsLinesApartByPriorityAndTag) {
    Log("a", 6, "one");
    Log("a", 4, "one");
    Log("a", 6, "other");

    EXPECT_EQ((Strings{"a", "a", "a"}), Take());
}
