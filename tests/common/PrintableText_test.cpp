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
         {"\u061B", "\u061D", "\u200D", "\u2010", "\u2029", "\u202F", "\u2065", "\u206A"}) {
        EXPECT_EQ(text, PrintableText(text));
    }
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
