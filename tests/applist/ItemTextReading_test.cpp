// SPDX-License-Identifier: MIT

#include <gtest/gtest.h>

#include <ios>
#include <istream>
#include <sstream>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <vector>

#include "applist/RemoteAppListItem.h"

using std::string;

namespace {

// What reading one item from `text` into an item "before/before" leaves.
struct Reading {
    explicit Reading(const string& text) : in(text) { in >> item; }

    string Name() { return item.GetVisibleName(); }
    string Id() { return item.GetUnigueId(); }

    // What was not consumed.
    string Rest() {
        in.clear();
        return string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }

    std::istringstream in;
    RemoteAppListItem item = RemoteAppListItem("before", "before");
};

void ExpectRoundTrip(const string& name, const string& id) {
    std::ostringstream out;
    out << RemoteAppListItem(name, id);

    Reading reading(out.str());

    EXPECT_TRUE(reading.in.good());
    EXPECT_EQ(name, reading.Name());
    EXPECT_EQ(id, reading.Id());
}

void ExpectRefusal(const string& text, const string& why) {
    Reading reading(text);

    EXPECT_TRUE(reading.in.fail()) << why;
    EXPECT_FALSE(reading.in.bad()) << why;
    EXPECT_EQ("before", reading.Name()) << why;
    EXPECT_EQ("before", reading.Id()) << why;
}

// Hands out one byte at a time, and can break after some.
class SlowBuffer : public std::streambuf {
public:
    SlowBuffer(string text, std::size_t breaksAt) : m_text(std::move(text)), m_breaksAt(breaksAt) {}

protected:
    int_type underflow() override {
        if (m_at == m_breaksAt) throw std::runtime_error("broken");
        if (m_at == m_text.size()) return traits_type::eof();
        setg(&m_text[m_at], &m_text[m_at], &m_text[m_at] + 1);
        ++m_at;
        return traits_type::to_int_type(*gptr());
    }

private:
    string m_text;
    std::size_t m_breaksAt;
    std::size_t m_at = 0;
};

const std::size_t kNever = static_cast<std::size_t>(-1);

}  // namespace

TEST(AReadItem, EqualsTheWrittenOne) {
    ExpectRoundTrip("Maps", "maps");
    ExpectRoundTrip("", "");
    ExpectRoundTrip("", "maps");
    ExpectRoundTrip("Maps", "");
    ExpectRoundTrip(" two  words ", " a b ");
    ExpectRoundTrip("\xC3\x9C\xE5\x9C\xB0\xE5\x9B\xBE", "\xFF\xFE\x80");
    ExpectRoundTrip(string(1, '\0'), string("\0\0a\0", 4));
    ExpectRoundTrip("\\", "\\\\");
    ExpectRoundTrip("\t\t", "\n\n");
    ExpectRoundTrip("\\t\\n", "\\\t\\\n");
    ExpectRoundTrip("\r\n", "\r");
    ExpectRoundTrip(string(100000, '\\'), string(100000, 'x'));
}

TEST(AReadItem, EqualsTheWrittenOneForEveryPairOfBytes) {
    for (int first = 0; first < 256; ++first) {
        string seconds;
        for (int second = 0; second < 256; ++second) {
            seconds += static_cast<char>(first);
            seconds += static_cast<char>(second);
        }
        ExpectRoundTrip(seconds, string(1, static_cast<char>(first)));
        ASSERT_FALSE(::testing::Test::HasFailure()) << "first byte " << first;
    }
}

TEST(AReadItem, OverwritesBothStrings) {
    Reading reading("\t\n");

    EXPECT_EQ("", reading.Name());
    EXPECT_EQ("", reading.Id());
}

TEST(AReadItem, TakesExactlyOneLine) {
    Reading reading("A\ta\n  B\tb\n");

    EXPECT_EQ("A", reading.Name());
    EXPECT_EQ("  B\tb\n", reading.Rest());
}

TEST(AReadItem, LeavesTheStreamGoodAtTheEndOfTheData) {
    Reading reading("A\ta\n");

    EXPECT_TRUE(reading.in.good());
    EXPECT_FALSE(reading.in.eof());
}

TEST(AReadItem, IsFollowedByTheNextUntilAReadFails) {
    std::istringstream in("A\ta\nB\tb\n");
    RemoteAppListItem first;
    RemoteAppListItem second;
    RemoteAppListItem third("before", "before");

    EXPECT_TRUE(in >> first >> second);
    EXPECT_FALSE(in >> third);

    EXPECT_EQ("A a B b", first.GetVisibleName() + " " + first.GetUnigueId() + " " +
                             second.GetVisibleName() + " " + second.GetUnigueId());
    EXPECT_EQ("before", third.GetUnigueId());
    EXPECT_TRUE(in.fail());
}

TEST(AReadItem, KeepsLeadingBlanks) {
    Reading reading(" \r\v A\t a\n");

    EXPECT_EQ(" \r\v A", reading.Name());
    EXPECT_EQ(" a", reading.Id());
}

TEST(AReadItem, ReturnsTheStreamThatItCameFrom) {
    std::istringstream in("A\ta\n");
    std::istream& base = in;
    RemoteAppListItem item;

    EXPECT_EQ(&base, &(base >> item));
}

TEST(AReadItem, ComesThroughABufferOfOneByte) {
    SlowBuffer buffer("a\\tb\tc\\\\\nrest", kNever);
    std::istream in(&buffer);
    RemoteAppListItem item;

    EXPECT_TRUE(in >> item);

    EXPECT_EQ("a\tb", item.GetVisibleName());
    EXPECT_EQ("c\\", item.GetUnigueId());
}

TEST(AReading, FailsAtTheEndOfTheData) {
    Reading reading("");

    EXPECT_TRUE(reading.in.fail());
    EXPECT_TRUE(reading.in.eof());
    EXPECT_EQ("before", reading.Name());
}

TEST(AReading, RefusesALineWithoutItsLineFeed) {
    ExpectRefusal("A\ta", "the line feed is missing");
    ExpectRefusal("A\t", "the line feed is missing");
    ExpectRefusal("A", "there is but a name");
    ExpectRefusal("\t", "the line feed is missing");
    EXPECT_TRUE(Reading("A\ta").in.eof());
}

TEST(AReading, RefusesEveryBeginningOfAnItemAndNotTheWhole) {
    const string whole = "a\\tb\\\\\tc\\nd\n";
    for (std::size_t length = 0; length < whole.size(); ++length) {
        ExpectRefusal(whole.substr(0, length), "cut after " + std::to_string(length));
    }
    EXPECT_TRUE(Reading(whole).in.good());
}

TEST(AReading, RefusesALineWithoutATab) {
    ExpectRefusal("\n", "an empty line");
    ExpectRefusal("Maps\n", "no tab");
    ExpectRefusal("Maps\\tmaps\n", "an escaped tab separates nothing");
}

TEST(AReading, RefusesASecondRawTab) {
    ExpectRefusal("A\ta\tb\n", "two tabs");
    ExpectRefusal("\t\t\n", "two tabs");
    ExpectRefusal("A\ta\t\n", "two tabs");
}

TEST(AReading, RefusesEveryEscapeButTheThree) {
    for (int byte = 0; byte < 256; ++byte) {
        const char c = static_cast<char>(byte);
        if (c == '\\' || c == 't' || c == 'n') continue;
        ExpectRefusal(string("\\") + c + "\ta\n", "byte " + std::to_string(byte) + " in the name");
        ExpectRefusal(string("A\t\\") + c + "\n", "byte " + std::to_string(byte) + " in the id");
    }
}

TEST(AReading, RefusesABackslashAtTheEndOfAString) {
    ExpectRefusal("A\\\ta\n", "the name ends in a backslash");
    ExpectRefusal("A\ta\\\n", "the id ends in a backslash");
    ExpectRefusal("A\\\\\\\ta\n", "an escaped backslash and another one");
}

TEST(AReading, ConsumesARefusedLineThatEnds) {
    EXPECT_EQ("B\tb\n", Reading("no item\nB\tb\n").Rest());
    EXPECT_EQ("B\tb\n", Reading("A\t\\x\nB\tb\n").Rest());
}

TEST(AReading, DoesNotSetEofbitForARefusedLineThatEnds) {
    EXPECT_FALSE(Reading("no item\n").in.eof());
}

TEST(AReading, ReadsNothingFromAStreamThatHasFailed) {
    std::istringstream in("A\ta\n");
    in.setstate(std::ios_base::failbit);
    RemoteAppListItem item("before", "before");

    in >> item;

    EXPECT_EQ("before", item.GetVisibleName());
    in.clear();
    EXPECT_EQ(0, in.tellg());
}

TEST(AReading, ThrowsOnlyOnAStreamThatAsksForIt) {
    for (const char* text : {"", "A\ta", "no item\n", "A\ta\tb\n", "\\x\ta\n"}) {
        std::istringstream in(text);
        in.exceptions(std::ios_base::failbit);
        RemoteAppListItem item("before", "before");

        EXPECT_THROW(in >> item, std::ios_base::failure) << text;

        EXPECT_EQ("before", item.GetVisibleName()) << text;
    }
}

TEST(AReading, ThrowsNothingForAGoodItemOnAStreamThatAsksForExceptions) {
    std::istringstream in("A\ta\n");
    in.exceptions(std::ios_base::failbit | std::ios_base::badbit | std::ios_base::eofbit);
    RemoteAppListItem item;

    EXPECT_NO_THROW(in >> item);

    EXPECT_EQ("a", item.GetUnigueId());
}

TEST(AReading, SetsBadbitAndLeavesTheItemWhenTheBufferThrows) {
    for (std::size_t breaksAt = 0; breaksAt < 4; ++breaksAt) {
        SlowBuffer buffer("A\ta\n", breaksAt);
        std::istream in(&buffer);
        RemoteAppListItem item("before", "before");

        EXPECT_NO_THROW(in >> item) << "broken after " << breaksAt;

        EXPECT_TRUE(in.bad()) << "broken after " << breaksAt;
        EXPECT_EQ("before", item.GetVisibleName()) << "broken after " << breaksAt;
    }
}
