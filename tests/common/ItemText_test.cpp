// SPDX-License-Identifier: MIT

#include "common/ItemText.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <string_view>

using applist::ItemText;
using std::string;
using Fault = applist::ItemText::Fault;

namespace {

// "name/id", or "none".
string Read(std::string_view line) {
    const std::optional<ItemText> text = ItemText::Of(line);
    return text ? text->VisibleName() + "/" + text->UniqueId() : "none";
}

}  // namespace

TEST(AnItemText, IsALineOfNameTabAndId) {
    EXPECT_EQ("Maps/maps", Read("Maps\tmaps"));
    EXPECT_EQ("/", Read("\t"));
    EXPECT_EQ(string("a\0b/\xFF", 5), Read(std::string_view("a\0b\t\xFF", 5)));
}

TEST(AnItemText, HoldsEscapesInBothStrings) {
    const string line = "a\\tb\\\\\t\\n\\\\c";

    EXPECT_EQ("a\tb\\/\n\\c", Read(line));
    EXPECT_TRUE(ItemText::Of(line)->HasEscape());
    EXPECT_EQ("a\\tb\\\\", ItemText::Of(line)->NameText());
    EXPECT_EQ("\\n\\\\c", ItemText::Of(line)->IdText());
}

TEST(AnItemText, IsNoLineWithAFault) {
    for (const char* line : {"", "Maps", "a\tb\tc", "\t\t", "a\\x\tb", "a\\\tb", "a\tb\\"}) {
        EXPECT_EQ("none", Read(line)) << line;
        EXPECT_NE(Fault::kNone, ItemText::FaultOf(line)) << line;
    }
}

TEST(AnItemText, IsToldWhichFaultComesFirst) {
    EXPECT_EQ(Fault::kNone, ItemText::FaultOf("a\\t\tb"));
    EXPECT_EQ(Fault::kNoSeparator, ItemText::FaultOf("a\\x"));
    EXPECT_EQ(Fault::kSecondSeparator, ItemText::FaultOf("a\\x\tb\t"));
    EXPECT_EQ(Fault::kUnknownEscape, ItemText::FaultOf("a\\x\tb"));
}

TEST(AnItemText, IsToldWhereAnUnknownEscapeIs) {
    EXPECT_EQ(3u, ItemText::FindUnknownEscape("a\\\\\\\tb"));
    EXPECT_EQ(2u, ItemText::FindUnknownEscape("a\t\\"));
    EXPECT_EQ(string::npos, ItemText::FindUnknownEscape("\\t\\n\\\\\t"));
}

TEST(AnItemText, IsTakenOffTheTextThatHoldsIt) {
    std::string_view left = "A\ta\nB\tb\nhalf\t";

    EXPECT_EQ("A\ta", ItemText::Take(left)->Line());
    EXPECT_EQ("B\tb", ItemText::Take(left)->Line());
    EXPECT_FALSE(ItemText::Take(left));
    EXPECT_EQ("half\t", left);
}

TEST(AnItemText, IsTakenOffTheTextWhenItIsNoItemToo) {
    std::string_view left = "no item\nB\tb\n";

    EXPECT_FALSE(ItemText::Take(left));
    EXPECT_EQ("B\tb\n", left);
}

TEST(AnItemText, TellsHowLongItsStringsAreWithoutMakingThem) {
    for (const char* line : {"\t", "name\tid", "\\t\\\\\tid", "n\t\\n", "\\\\n\tid\\\\"}) {
        const std::optional<ItemText> text = ItemText::Of(line);
        ASSERT_TRUE(text) << line;
        EXPECT_EQ(text->VisibleName().size() + text->UniqueId().size(), text->StringsSize())
            << line;
    }
}
