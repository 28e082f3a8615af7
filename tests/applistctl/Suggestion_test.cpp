// SPDX-License-Identifier: MIT

#include "apps/applistctl/Suggestion.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace applist::ctl;

namespace {

const std::vector<std::string> kWords = {"list", "select", "selection", "remove", "GetAllItems"};

}  // namespace

TEST(ASuggestion, IsTheWordThatWasBegun) {
    EXPECT_EQ(NearestOf(kWords, "rem"), "remove");
}

TEST(ASuggestion, IsTheFirstOfSeveralThatWereBegun) {
    EXPECT_EQ(NearestOf(kWords, "sele"), "select");
}

TEST(ASuggestion, ForgivesALetterTooFewTooManyOrWrong) {
    EXPECT_EQ(NearestOf(kWords, "lis"), "list");
    EXPECT_EQ(NearestOf(kWords, "lisst"), "list");
    EXPECT_EQ(NearestOf(kWords, "lost"), "list");
}

TEST(ASuggestion, CountsTwoSwappedLettersAsOneMistake) {
    EXPECT_EQ(NearestOf({"abdc", "abxxy"}, "abcd"), "abdc");
}

TEST(ASuggestion, DoesNotLookAtCapitals) {
    EXPECT_EQ(NearestOf(kWords, "getallitems"), "GetAllItems");
}

TEST(ASuggestion, IsTheNearestOne) {
    EXPECT_EQ(NearestOf({"selects", "elect"}, "slect"), "elect");
}

TEST(ASuggestion, IsNoneForAnotherWord) {
    EXPECT_EQ(NearestOf(kWords, "frobnicate"), "");
    EXPECT_EQ(NearestOf(kWords, "xy"), "");
}

TEST(ASuggestion, IsNoneForNoWord) {
    EXPECT_EQ(NearestOf(kWords, ""), "");
}

TEST(ASuggestion, IsNoneForAWordThatIsFarTooLong) {
    EXPECT_EQ(NearestOf(kWords, std::string(1000000, 'l')), "");
}
