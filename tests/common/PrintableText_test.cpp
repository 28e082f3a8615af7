// SPDX-License-Identifier: MIT

#include "common/PrintableText.h"

#include <gtest/gtest.h>

using applist::PrintableText;

TEST(PrintableTextOf, OrdinaryTextIsThatText) {
    EXPECT_EQ("", PrintableText(""));
    EXPECT_EQ("Maps (1.2) ~ \"50 %\" \\n", PrintableText("Maps (1.2) ~ \"50 %\" \\n"));
}

TEST(PrintableTextOf, LettersOfAnyScriptIsThatText) {
    const std::string text =
        "Stra\xc3\x9f"
        "e \xd0\x9a\xd0\xb0 \xe5\x9c\xb0 \xf0\x9f\x97\xba";

    EXPECT_EQ(text, PrintableText(text));
}

TEST(PrintableTextOf, ControlCharactersShowsThem) {
    EXPECT_EQ("\\x1b[2J", PrintableText("\x1b[2J"));
    EXPECT_EQ(
        "a\\x09"
        "b\\x0a"
        "c\\x0d",
        PrintableText("a\tb\nc\r"));
    EXPECT_EQ("\\x7f", PrintableText("\x7f"));
    EXPECT_EQ(
        "a\\x00"
        "b",
        PrintableText(std::string("a\0b", 3)));
}

// Terminals obey U+009B as they obey ESC [.
TEST(PrintableTextOf, EightBitControlCharactersShowsThem) {
    EXPECT_EQ("\\xc2\\x80", PrintableText("\xc2\x80"));
    EXPECT_EQ(
        "\\xc2\\x9b"
        "2J",
        PrintableText("\xc2\x9b"
                      "2J"));
    EXPECT_EQ("\xc2\xa0", PrintableText("\xc2\xa0"));
}

// A name could pass for another by them: "gpj.exe" shown as "exe.jpg".
TEST(PrintableTextOf, MarksThatTurnTheDirectionOfTextShowsThem) {
    EXPECT_EQ("\\xd8\\x9c", PrintableText("\u061C"));
    EXPECT_EQ("a\\xe2\\x80\\xae!", PrintableText("a\u202E!"));
    for (const char* mark : {"\u200E", "\u200F", "\u202A", "\u202B", "\u202C", "\u202D", "\u202E",
                             "\u2066", "\u2067", "\u2068", "\u2069"}) {
        EXPECT_EQ(12u, PrintableText(mark).size()) << mark << " stands as it is";
    }
}

TEST(PrintableTextOf, NeighboursOfThoseMarksIsThatText) {
    for (const char* text :
         {"\u061B", "\u061D", "\u200A", "\u2010", "\u2027", "\u202F", "\u205F", "\u2070"}) {
        EXPECT_EQ(text, PrintableText(text));
    }
}

// "Maps" and "Maps" with one of them would look the same, and a name of nothing else like none.
TEST(PrintableTextOf, CharactersThatShowNothingShowsTheirBytes) {
    EXPECT_EQ("Ma\\xe2\\x80\\x8bps", PrintableText("Ma\u200Bps"));
    EXPECT_EQ("Maps\\xf3\\xa0\\x81\\xa1", PrintableText("Maps\U000E0061"));
    for (const char* unseen :
         {"\u00AD",     "\u034F",    "\u115F",     "\u1160",     "\u17B4",     "\u180E",
          "\u200B",     "\u2028",    "\u2029",     "\u2060",     "\u2061",     "\u2064",
          "\u2065",     "\u206A",    "\u206F",     "\u3164",     "\uFE00",     "\uFEFF",
          "\uFFA0",     "\uFFF9",    "\U000E0000", "\U000E0001", "\U000E0020", "\U000E007F",
          "\U000E0100", "\U000E0FFF"}) {
        const std::string bytes = unseen;
        EXPECT_EQ(4 * bytes.size(), PrintableText(bytes).size()) << bytes << " stands as it is";
        EXPECT_EQ(4 + 4 * bytes.size(), PrintableText("Maps" + bytes).size()) << bytes;
    }
}

TEST(PrintableTextOf, JoinersBetweenLettersThatJoinIsThatText) {
    for (const char* text :
         {"\u0645\u06CC\u200C\u062E\u0648\u0627\u0647\u0645",  // Persian, with a non-joiner
          "\u0915\u094D\u200D\u0937",                          // Hindi, half a letter
          "\u1820\u180B\u1821",                                // Mongolian, a variant
          "\U0001F469\u200D\U0001F4BB",                        // emoji: a woman at a computer
          "\u2764\uFE0F\u200D\U0001F525",                      // a heart on fire
          "\U0001F469\U0001F3FD\u200D\U0001F680",              // an astronaut of some colour
          "\u2699\uFE0F", "\u2699\uFE0E",                      // a gear, in colour or not
          "1\uFE0F\u20E3"}) {                                  // the key 1
        EXPECT_EQ(text, PrintableText(text));
    }
}

// (c), (r), !!, !?, TM, i, an arrow, a wavy dash, a part of a song, congratulations, a secret.
TEST(PrintableTextOf, CharactersInOneOfTheirTwoStylesIsThatText) {
    for (const std::string character :
         {"\u00A9", "\u00AE", "\u203C", "\u2049", "\u2122", "\u2139", "\u2194", "\u3030", "\u303D",
          "\u3297", "\u3299", "\U0001F004", "\U0001F6F3"}) {
        EXPECT_EQ(character + "\uFE0E", PrintableText(character + "\uFE0E"));
        EXPECT_EQ(character + "\uFE0F", PrintableText(character + "\uFE0F"));
    }
}

TEST(PrintableTextOf, JoinersThatJoinNothingShowsTheirBytes) {
    for (const char* joiner : {"\u200C", "\u200D"}) {
        const std::string bytes = joiner;
        const std::string shown = bytes == "\u200C" ? "\\xe2\\x80\\x8c" : "\\xe2\\x80\\x8d";
        EXPECT_EQ(shown, PrintableText(bytes));
        EXPECT_EQ("Ma" + shown + "ps", PrintableText("Ma" + bytes + "ps"));
        EXPECT_EQ("\u0645" + shown, PrintableText("\u0645" + bytes));
        EXPECT_EQ(shown + "\u0645", PrintableText(bytes + "\u0645"));
        EXPECT_EQ("\u5730" + shown + "\u56FE", PrintableText("\u5730" + bytes + "\u56FE"));
        EXPECT_EQ("\u0645" + shown + shown + "\u0645",
                  PrintableText("\u0645" + bytes + bytes + "\u0645"));
    }
}

TEST(PrintableTextOf, SelectorsThatSelectNothingShowsTheirBytes) {
    EXPECT_EQ("Maps\\xef\\xb8\\x8f", PrintableText("Maps\uFE0F"));
    EXPECT_EQ("1\\xef\\xb8\\x8f", PrintableText("1\uFE0F"));
    EXPECT_EQ("a\\xef\\xb8\\x8f\\xe2\\x83\\xa3", PrintableText("a\uFE0F\u20E3")) << "no such key";
    for (const std::string character : {"\u2190", "\u2500", "\u2BFF", "\U0001F697", "\U0001FAFF"}) {
        EXPECT_EQ(character + "\\xef\\xb8\\x8f", PrintableText(character + "\uFE0F"));
    }
    EXPECT_EQ("\u2699\uFE0F\\xef\\xb8\\x8f", PrintableText("\u2699\uFE0F\uFE0F"));
    EXPECT_EQ("Maps\\xe1\\xa0\\x8b", PrintableText("Maps\u180B"));
}

TEST(PrintableTextOf, AccentsOnALetterIsThatText) {
    for (const char* text :
         {"e\u0301", "a\u0302\u0323", "\u0E01\u0E34\u0E49", "\u1112\u1161\u11AB", "\u0928\u093F"}) {
        EXPECT_EQ(text, PrintableText(text));
    }
}

TEST(PrintableTextOf, MoreThanEightAccentsOnALetterShowsTheOthers) {
    std::string eight = "e";
    for (int mark = 0; mark < 8; ++mark) eight += "\u0301";

    EXPECT_EQ(eight, PrintableText(eight));
    EXPECT_EQ(eight + "\\xcc\\x81", PrintableText(eight + "\u0301"));
    EXPECT_EQ(eight + "\\xcc\\x81\\xcc\\x82e\u0301", PrintableText(eight + "\u0301\u0302e\u0301"));
    EXPECT_EQ(eight + eight, PrintableText(eight + eight));
}

TEST(PrintableTextOf, AccentsWithoutALetterShowsThem) {
    EXPECT_EQ("\\xcc\\x81", PrintableText("\u0301"));
    EXPECT_EQ("\\xe1\\x85\\xa1", PrintableText("\u1161"));
    EXPECT_EQ("\\x0a\\xcc\\x81", PrintableText("\n\u0301")) << "it would stand on our own digit";
}

TEST(PrintableTextOf, BytesThatAreNoUtf8ShowsThem) {
    EXPECT_EQ("\\xff\\xfe", PrintableText("\xff\xfe"));
    EXPECT_EQ(
        "\\x80"
        "a",
        PrintableText("\x80"
                      "a"));
    EXPECT_EQ("\\xc0\\xaf", PrintableText("\xc0\xaf")) << "an overlong slash";
    EXPECT_EQ("\\xe0\\x80\\xaf", PrintableText("\xe0\x80\xaf")) << "an overlong slash";
    EXPECT_EQ("\\xf0\\x80\\x80\\xaf", PrintableText("\xf0\x80\x80\xaf")) << "an overlong slash";
    EXPECT_EQ("\\xed\\xa0\\x80", PrintableText("\xed\xa0\x80")) << "a surrogate";
    EXPECT_EQ("\\xf4\\x90\\x80\\x80", PrintableText("\xf4\x90\x80\x80")) << "past U+10FFFF";
}

TEST(PrintableTextOf, ACharacterThatIsCutShowsItsBytesAndGoesOn) {
    EXPECT_EQ("\\xe5\\x9c", PrintableText("\xe5\x9c"));
    EXPECT_EQ(
        "\\xe5\\x9c"
        "a",
        PrintableText("\xe5\x9c"
                      "a"));
    EXPECT_EQ("\\xe5\xc3\x9f", PrintableText("\xe5\xc3\x9f"));
}

TEST(PrintableTextOf, TheFirstAndTheLastOfEachLengthIsThatText) {
    for (const char* text : {"\xc2\xa0", "\xdf\xbf", "\xe0\xa0\x80", "\xed\x9f\xbf", "\xee\x80\x80",
                             "\xef\xbf\xbf", "\xf0\x90\x80\x80", "\xf4\x8f\xbf\xbf"}) {
        EXPECT_EQ(text, PrintableText(text));
    }
}

TEST(PrintableTextOf, EverySingleByteIsShownOrIsOrdinaryAscii) {
    for (int byte = 0; byte < 256; ++byte) {
        const bool ordinary = byte >= 0x20 && byte < 0x7F;
        EXPECT_EQ(ordinary ? 1u : 4u, PrintableText(std::string(1, static_cast<char>(byte))).size())
            << "byte " << byte;
    }
}
