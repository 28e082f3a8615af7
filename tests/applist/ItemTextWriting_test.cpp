// SPDX-License-Identifier: MIT

#include <gtest/gtest.h>

#include <iomanip>
#include <ios>
#include <ostream>
#include <sstream>
#include <stdexcept>
#include <streambuf>
#include <string>

#include "applist/RemoteAppListItem.h"

using std::string;

namespace {

string Written(const string& name, const string& id) {
    std::ostringstream out;
    out << RemoteAppListItem(name, id);
    EXPECT_TRUE(out.good());
    return out.str();
}

// Takes `capacity` bytes and no more: a full disk, a closed pipe.
class FullBuffer : public std::streambuf {
public:
    explicit FullBuffer(std::size_t capacity) : m_capacity(capacity) {}

    string m_taken;

protected:
    int_type overflow(int_type c) override {
        if (m_taken.size() == m_capacity) return traits_type::eof();
        m_taken += traits_type::to_char_type(c);
        return c;
    }

private:
    std::size_t m_capacity;
};

class ThrowingBuffer : public std::streambuf {
protected:
    int_type overflow(int_type) override { throw std::runtime_error("no"); }
};

// Takes one byte less than it is handed in a run, and every single byte.
class ShortBuffer : public std::streambuf {
public:
    string m_taken;

protected:
    std::streamsize xsputn(const char* bytes, std::streamsize count) override {
        if (count == 0) return 0;
        m_taken.append(bytes, static_cast<std::size_t>(count - 1));
        return count - 1;
    }
    int_type overflow(int_type c) override {
        m_taken += traits_type::to_char_type(c);
        return c;
    }
};

// Counts how the bytes come.
class CountingBuffer : public std::streambuf {
public:
    int m_runs = 0;
    int m_singles = 0;
    string m_taken;

protected:
    std::streamsize xsputn(const char* bytes, std::streamsize count) override {
        ++m_runs;
        m_taken.append(bytes, static_cast<std::size_t>(count));
        return count;
    }
    int_type overflow(int_type c) override {
        ++m_singles;
        m_taken += traits_type::to_char_type(c);
        return c;
    }
};

}  // namespace

TEST(AWrittenItem, IsNameTabIdAndLineFeed) {
    EXPECT_EQ("Maps\tmaps\n", Written("Maps", "maps"));
}

TEST(AWrittenItem, IsNeverWithoutTabAndLineFeed) {
    EXPECT_EQ("\t\n", Written("", ""));
    EXPECT_EQ("Maps\t\n", Written("Maps", ""));
    EXPECT_EQ("\tmaps\n", Written("", "maps"));
}

TEST(AWrittenItem, EscapesBackslashTabAndLineFeedInBothStrings) {
    EXPECT_EQ("\\\\\\t\\n\t\\n\\t\\\\\n", Written("\\\t\n", "\n\t\\"));
}

TEST(AWrittenItem, EscapesBetweenOtherBytes) {
    EXPECT_EQ("a\\tb\\\\c\td\\ne\n", Written("a\tb\\c", "d\ne"));
}

TEST(AWrittenItem, LeavesEveryOtherByteAsItIs) {
    string others;
    for (int byte = 0; byte < 256; ++byte) {
        const char c = static_cast<char>(byte);
        if (c != '\\' && c != '\t' && c != '\n') others += c;
    }

    EXPECT_EQ(others + "\t" + others + "\n", Written(others, others));
}

TEST(AWrittenItem, FollowsTheOneBeforeItWithNothingBetween) {
    std::ostringstream out;

    out << RemoteAppListItem("A", "a") << RemoteAppListItem("B", "b");

    EXPECT_EQ("A\ta\nB\tb\n", out.str());
}

TEST(AWrittenItem, IsTheSameWhateverTheStreamsFormat) {
    std::ostringstream out;

    out << std::setw(40) << std::setfill('*') << std::left << std::hex
        << RemoteAppListItem("A", "a");

    EXPECT_EQ("A\ta\n", out.str());
}

TEST(AWrittenItem, ReturnsTheStreamThatItWasWrittenTo) {
    std::ostringstream out;
    std::ostream& base = out;

    EXPECT_EQ(&base, &(base << RemoteAppListItem("A", "a")));
}

TEST(AWrittenItem, ChangesNothingInAStreamThatHasFailed) {
    for (const auto state :
         {std::ios_base::failbit, std::ios_base::badbit, std::ios_base::eofbit}) {
        std::ostringstream out;
        out.setstate(state);

        out << RemoteAppListItem("A", "a");

        EXPECT_EQ("", out.str());
        EXPECT_EQ(state, out.rdstate() & state);
    }
}

TEST(AWrittenItem, SetsBadbitWhereverTheBufferIsFull) {
    const RemoteAppListItem item("a\tb", "c\\d");
    const string whole = "a\\tb\tc\\\\d\n";
    for (std::size_t capacity = 0; capacity < whole.size(); ++capacity) {
        FullBuffer buffer(capacity);
        std::ostream out(&buffer);

        out << item;

        EXPECT_TRUE(out.bad()) << "room for " << capacity << " bytes";
        EXPECT_EQ(whole.substr(0, capacity), buffer.m_taken);
    }
}

TEST(AWrittenItem, StopsWithBadbitWhereARunCameThroughShort) {
    ShortBuffer buffer;
    std::ostream out(&buffer);

    out << RemoteAppListItem("Maps", "maps");

    EXPECT_TRUE(out.bad());
    EXPECT_EQ("Map", buffer.m_taken);
}

TEST(AWrittenItem, IsGoodWhenItJustFits) {
    FullBuffer buffer(5);
    std::ostream out(&buffer);

    out << RemoteAppListItem("ab", "c");

    EXPECT_TRUE(out.good());
    EXPECT_EQ("ab\tc\n", buffer.m_taken);
}

TEST(AWrittenItem, SetsBadbitWhenTheBufferThrows) {
    ThrowingBuffer buffer;
    std::ostream out(&buffer);

    EXPECT_NO_THROW(out << RemoteAppListItem("A", "a"));

    EXPECT_TRUE(out.bad());
}

TEST(AWrittenItem, LetsTheBuffersExceptionThroughForAStreamThatAsksForIt) {
    ThrowingBuffer buffer;
    std::ostream out(&buffer);
    out.exceptions(std::ios_base::badbit);

    EXPECT_THROW(out << RemoteAppListItem("A", "a"), std::runtime_error);

    EXPECT_TRUE(out.bad());
}

TEST(AWrittenItem, ThrowsForAFullBufferOnlyOnAStreamThatAsksForIt) {
    FullBuffer buffer(1);
    std::ostream out(&buffer);
    out.exceptions(std::ios_base::badbit);

    EXPECT_THROW(out << RemoteAppListItem("A", "a"), std::ios_base::failure);
}

TEST(AWrittenItem, HandsAStringWithoutEscapesOverInOnePiece) {
    CountingBuffer buffer;
    std::ostream out(&buffer);

    out << RemoteAppListItem(string(1000, 'n'), string(1000, 'i'));

    EXPECT_EQ(2, buffer.m_runs);
    EXPECT_EQ(2, buffer.m_singles);
    EXPECT_EQ(2002u, buffer.m_taken.size());
}
