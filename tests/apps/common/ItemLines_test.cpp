// SPDX-License-Identifier: MIT

#include "apps/common/ItemLines.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace applist;

using testing::HasSubstr;
using testing::StartsWith;

namespace {

std::vector<RemoteAppListItem> Read(const std::string& text) {
    return ReadItemLines(text, "apps.txt");
}

std::string FaultOf(const std::string& text) {
    try {
        Read(text);
    } catch (const InputError& error) {
        return error.what();
    }
    return "no fault";
}

}  // namespace

TEST(ItemLines, HoldOneItemEach) {
    std::vector<RemoteAppListItem> items = Read("Maps\tmaps\nMusic Box\tmusic\n");
    ASSERT_EQ(items.size(), 2U);
    EXPECT_EQ(items[0].GetVisibleName(), "Maps");
    EXPECT_EQ(items[0].GetUnigueId(), "maps");
    EXPECT_EQ(items[1].GetVisibleName(), "Music Box");
    EXPECT_EQ(items[1].GetUnigueId(), "music");
}

TEST(ItemLines, MayBeNone) {
    EXPECT_TRUE(Read("").empty());
}

TEST(ItemLines, MayHoldEscapesAndEmptyStrings) {
    std::vector<RemoteAppListItem> items = Read("a\\tb\\n\\\\\tid\n\t\n");
    ASSERT_EQ(items.size(), 2U);
    EXPECT_EQ(items[0].GetVisibleName(), "a\tb\n\\");
    EXPECT_EQ(items[1].GetUnigueId(), "");
}

TEST(ItemLines, AreNumberedFromOneInAFault) {
    EXPECT_EQ(FaultOf("Maps\tmaps\nMusic\n"),
              "apps.txt:2: no TAB between the name and the id; insert one");
}

TEST(ItemLines, NeedATab) {
    EXPECT_EQ(FaultOf("\n"), "apps.txt:1: no TAB between the name and the id; insert one");
}

TEST(ItemLines, HaveOnlyOneRawTab) {
    EXPECT_THAT(FaultOf("a\tb\tc\n"), StartsWith("apps.txt:1: a second TAB"));
}

TEST(ItemLines, KnowThreeEscapes) {
    EXPECT_EQ(FaultOf("a\\\\\\x\tb\n"),
              "apps.txt:1: unknown escape \\x; use only \\t, \\n and \\\\, which is a "
              "backslash");
}

TEST(ItemLines, AreNotShownHalfALetter) {
    EXPECT_THAT(FaultOf("a\\\u00e4\tb\n"), StartsWith("apps.txt:1: unknown escape \\; "));
}

TEST(ItemLines, DoNotEndANameWithASingleBackslash) {
    EXPECT_THAT(FaultOf("a\\\tb\n"), HasSubstr("the name or the id ends with a single \\;"));
}

TEST(ItemLines, DoNotEndAnIdWithASingleBackslash) {
    EXPECT_THAT(FaultOf("a\tb\\\n"), HasSubstr("the name or the id ends with a single \\;"));
}

TEST(ItemLines, EndWithALineFeed) {
    EXPECT_EQ(FaultOf("Maps\tmaps\nMusic\tmusic"),
              "apps.txt:2: the last line does not end with a line feed; add one");
}
