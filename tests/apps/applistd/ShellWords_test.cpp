// SPDX-License-Identifier: MIT

#include "apps/applistd/ShellWords.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

using applist::daemon::ShellWords;

using Words = std::vector<std::string>;

TEST(ShellWordsOf, PartsAtBlanksAndTabs) {
    EXPECT_EQ((Words{"add", "Maps", "maps"}), ShellWords(" add  Maps\tmaps "));
    EXPECT_EQ(Words(), ShellWords(""));
    EXPECT_EQ(Words(), ShellWords(" \t "));
}

TEST(ShellWordsOf, KeepsWhatIsBetweenSingleQuotes) {
    EXPECT_EQ((Words{"a b", R"(\"$x)", ""}), ShellWords(R"('a b' '\"$x' '')"));
}

TEST(ShellWordsOf, EscapesFourCharactersBetweenDoubleQuotes) {
    EXPECT_EQ((Words{R"($`"\ \n ')"}), ShellWords(R"("\$\`\"\\ \n '")"));
}

TEST(ShellWordsOf, EscapesAnythingOutsideOfQuotes) {
    EXPECT_EQ((Words{R"(a b'\n#)"}), ShellWords(R"(a\ b\'\\\n\#)"));
}

TEST(ShellWordsOf, JoinsPiecesWithoutABlankBetween) {
    EXPECT_EQ((Words{"a b c", "d"}), ShellWords(R"(a' 'b" "c d)"));
}

TEST(ShellWordsOf, LeavesACommentOut) {
    EXPECT_EQ((Words{"list"}), ShellWords("list # all of them"));
    EXPECT_EQ(Words(), ShellWords("# nothing"));
    EXPECT_EQ((Words{"a#b", "#"}), ShellWords("a#b '#'"));
}

TEST(ShellWordsOf, HasBytesThatAreNoText) {
    EXPECT_EQ((Words{std::string("a\0b", 3), "\xff"}), ShellWords(std::string("a\0b \xff", 5)));
}

TEST(ShellWordsOf, SaysHowToMendAnOpenQuote) {
    for (const char* const line : {"add 'Maps", R"(add "Maps)", R"(add "Maps\")", "'"}) {
        EXPECT_THROW(ShellWords(line), std::invalid_argument) << line;
    }
    try {
        ShellWords("add 'Maps maps");
        FAIL();
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ("a ' without a second one; add it, or \\ in front for the character itself",
                     error.what());
    }
}

TEST(ShellWordsOf, SaysHowToMendABackslashAtTheEnd) {
    try {
        ShellWords("add Maps maps\\");
        FAIL();
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ("the command ends with a single \\; write \\\\ for a backslash", error.what());
    }
}
