// SPDX-License-Identifier: MIT

#include "apps/applistctl/Table.h"

#include <gtest/gtest.h>

#include <cwchar>
#include <sstream>
#include <string>
#include <vector>

#include "apps/applistctl/TextWidth.h"
#include "common/PrintableText.h"

using applist::PrintableText;
using namespace applist::ctl;

namespace {

std::vector<std::string> Rows(const std::vector<Entry>& items, std::size_t width) {
    std::istringstream table(TableOf(items, std::nullopt, width, false));
    std::vector<std::string> rows;
    for (std::string row; std::getline(table, row);) rows.push_back(row);
    return rows;
}

class AText : public testing::Test {
protected:
    void SetUp() override { UseUtf8Locale(); }
};

class ATable : public testing::Test {
protected:
    void SetUp() override { UseUtf8Locale(); }
};

// `code` in UTF-8.
std::string Utf8(char32_t code) {
    const auto tail = [&](int shift) { return static_cast<char>(0x80 | (code >> shift & 0x3F)); };
    if (code < 0x80) return {static_cast<char>(code)};
    if (code < 0x800) return {static_cast<char>(0xC0 | code >> 6), tail(0)};
    if (code < 0x10000) return {static_cast<char>(0xE0 | code >> 12), tail(6), tail(0)};
    return {static_cast<char>(0xF0 | code >> 18), tail(12), tail(6), tail(0)};
}

// Every character that takes no column of its own, as far as the machine's locale knows.
std::vector<std::string> CharactersWithoutWidth() {
    std::vector<std::string> characters;
    for (char32_t code = 0x20; code < 0x110000; ++code) {
        const bool isSurrogate = code >= 0xD800 && code < 0xE000;
        if (!isSurrogate && wcwidth(static_cast<wchar_t>(code)) == 0) {
            characters.push_back(Utf8(code));
        }
    }
    return characters;
}

}  // namespace

TEST_F(AText, IsAsWideAsItsLettersAre) {
    EXPECT_EQ(WidthOf("abc"), 3U);
    EXPECT_EQ(WidthOf("K\u00e4se"), 4U);
    EXPECT_EQ(WidthOf("\u4f60\u597d"), 4U);
    EXPECT_EQ(WidthOf("e\u0301"), 1U);
}

TEST_F(AText, ThatIsNoUtf8TakesAColumnAByte) {
    EXPECT_EQ(WidthOf("\xFF\xE2\x82"), 3U);
}

TEST_F(AText, OfALetterThatTheLocaleDoesNotKnowTakesAColumn) {
    EXPECT_EQ(WidthOf("\U0003FFFD"), 1U);
}

TEST_F(AText, ThatFitsIsNotCut) {
    EXPECT_EQ(CutTo("abc", 3), "abc");
}

TEST_F(AText, ThatDoesNotFitEndsWithAnEllipsis) {
    EXPECT_EQ(CutTo("abcd", 3), "ab\u2026");
}

TEST_F(AText, IsNotCutInsideAWideLetter) {
    EXPECT_EQ(CutTo("\u4f60\u597d\u4f60", 4), "\u4f60\u2026");
}

TEST_F(AText, KeepsAMarkWithItsLetter) {
    EXPECT_EQ(CutTo("e\u0301xyz", 2), "e\u0301\u2026");
}

TEST_F(AText, IsNothingInNoRoom) {
    EXPECT_EQ(CutTo("abc", 0), "");
    EXPECT_EQ(CutTo("abc", 1), "\u2026");
}

TEST_F(ATable, IsNeverWiderThanItsTerminalThatHasRoomForTheIds) {
    const std::vector<Entry> items = {{std::string(300, 'n'), std::string(30, 'i')},
                                      {"\u4f60\u597d\u4f60\u597d", "short"},
                                      {"", ""}};
    for (std::size_t width = 34; width < 100; ++width) {
        for (const std::string& row : Rows(items, width)) {
            EXPECT_LE(WidthOf(row), width) << "in " << width << " columns: " << row;
        }
    }
}

TEST_F(ATable, ShowsEveryIdWholeInAnyWidth) {
    const std::string id(30, 'i');
    for (std::size_t width = 0; width < 100; ++width) {
        const std::string table =
            TableOf({{std::string(300, 'n'), id}}, std::nullopt, width, false);
        EXPECT_NE(table.find(id + "\n"), std::string::npos) << "in " << width << " columns";
    }
}

TEST_F(ATable, ShowsAnIdBesideItsNameWhileThatHasEightColumns) {
    const std::vector<Entry> items = {{"Application", "identifier"}};
    EXPECT_EQ(Rows(items, 22)[1], "  Applica\u2026  identifier");
    EXPECT_EQ(Rows(items, 21),
              std::vector<std::string>({"  NAME", "    ID", "  Application", "    identifier"}));
}

TEST_F(ATable, CutsNoNameInLessThanTenColumns) {
    const std::vector<Entry> items = {{"Application", "identifier"}};
    EXPECT_EQ(Rows(items, 10)[2], "  Applica\u2026");
    EXPECT_EQ(Rows(items, 9)[2], "  Application");
    EXPECT_EQ(Rows(items, 9)[3], "identifier");
}

TEST_F(ATable, PutsColoursAroundBothLinesOfTheSelection) {
    EXPECT_EQ(TableOf({{"Application", "identifier"}}, 0, 12, true),
              "\033[1m  NAME\n    ID\033[0m\n"
              "\033[1m* Applicati\u2026\n    identifier\033[0m\n");
}

TEST_F(ATable, ThatFitsIsNoWiderThanItsItems) {
    EXPECT_EQ(Rows({{"Maps", "maps"}}, 200),
              std::vector<std::string>({"  NAME  ID", "  Maps  maps"}));
}

TEST_F(ATable, ShowsControlBytesAsText) {
    EXPECT_EQ(Rows({{"\x1b[2J\n", "\t"}}, 80)[1], "  \\x1b[2J\\x0a  \\x09");
}

TEST_F(ATable, PutsColoursAroundTheHeaderAndTheSelectionOnly) {
    EXPECT_EQ(TableOf({{"A", "a"}, {"B", "b"}}, 1, 80, true),
              "\033[1m  NAME  ID\033[0m\n"
              "  A     a\n"
              "\033[1m* B     b\033[0m\n");
}

TEST_F(ATable, ShowsEveryNameInSomeColumns) {
    ASSERT_GT(CharactersWithoutWidth().size(), 1000U);
    for (const std::string& character : CharactersWithoutWidth()) {
        EXPECT_GT(WidthOf(PrintableText(character)), 0U) << PrintableText("." + character);
    }
}

TEST_F(ATable, CutsANameOfAnyCharacters) {
    for (const std::string& character : CharactersWithoutWidth()) {
        std::string name = "n";
        for (int time = 0; time < 50; ++time) name += character;
        const std::string row = Rows({{name, "id"}}, 40)[1];
        EXPECT_LE(row.size(), 40 + 8 * character.size() + 8) << row;
    }
}

TEST_F(ATable, StaysInColumnsWithNamesThatShowNothing) {
    EXPECT_EQ(Rows({{"Ma\u200Bps", "a"}, {"e\u0301", "b"}}, 80),
              std::vector<std::string>({"  NAME              ID", "  Ma\\xe2\\x80\\x8bps  a",
                                        "  e\u0301                 b"}));
}
