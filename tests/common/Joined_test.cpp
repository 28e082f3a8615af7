// SPDX-License-Identifier: MIT

#include "common/Joined.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>

using applist::Decimal;
using applist::Joined;
using std::string;

TEST(AJoinedText, IsEmptyWithoutPieces) {
    EXPECT_EQ("", Joined({}));
    EXPECT_EQ("", Joined({"", string(), std::string_view()}));
}

TEST(AJoinedText, HasItsPiecesInARow) {
    const string name = "the bus";
    const char* const reason = "it is away";

    EXPECT_EQ("cannot reach the bus: it is away", Joined({"cannot reach ", name, ": ", reason}));
}

TEST(AJoinedText, KeepsEveryByte) {
    const string bytes("a\0b\xFF\n", 5);

    EXPECT_EQ(bytes + bytes, Joined({bytes, bytes}));
}

TEST(AJoinedText, TakesTemporaries) {
    const string expected = string(100, 'x') + string(100, 'y') + "7";

    EXPECT_EQ(expected, Joined({string(100, 'x'), string(100, 'y'), Decimal(7)}));
}

TEST(ADecimal, IsWrittenAsTheLibraryWritesIt) {
    for (const std::uint64_t number : {std::uint64_t{0}, std::uint64_t{9}, std::uint64_t{10},
                                       std::uint64_t{4096}, UINT64_MAX - 1, UINT64_MAX}) {
        EXPECT_EQ(std::to_string(number), Joined({Decimal(number)}));
    }
}
