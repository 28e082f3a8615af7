// SPDX-License-Identifier: MIT

#include "apps/applistctl/Json.h"

#include <gtest/gtest.h>

#include <new>
#include <string>

#include "support/RecordingAllocator.h"

using namespace applist::ctl;

namespace {

std::string Short(const std::string& bytes) {
    return JsonOf(bytes, JsonStyle::Short);
}

}  // namespace

TEST(JsonText, ReplacesBytesThatAreNoUtf8) {
    EXPECT_EQ(Short("a\xFF z"), "\"a\xEF\xBF\xBD z\"");
}

TEST(JsonText, ReplacesACharacterThatIsCutOff) {
    EXPECT_EQ(Short("\xE2\x82"), "\"\xEF\xBF\xBD\"");
}

TEST(JsonText, EscapesControlsThatJsonLetsThrough) {
    EXPECT_EQ(Short("\x7F\xC2\x80\xC2\x9B\xC2\x9F"), R"("\u007f\u0080\u009b\u009f")");
}

TEST(JsonText, LeavesNeighboursOfThoseControlsAlone) {
    EXPECT_EQ(Short("~\xC2\xA0\xC3\x80\xE2\x82\x9B"), "\"~\xC2\xA0\xC3\x80\xE2\x82\x9B\"");
}

TEST(JsonText, CarriesANul) {
    EXPECT_EQ(Short(std::string("a\0b", 3)), R"("a\u0000b")");
}

TEST(AnEventInJson, HasOnlyTheFieldsThatApply) {
    EXPECT_EQ(JsonOf(Event{"lost", {}, {}, {}}, JsonStyle::Short), R"({"event":"lost"})");
    EXPECT_EQ(JsonOf(Event{"cleared", {}, {}, 0}, JsonStyle::Short),
              R"({"event":"cleared","count":0})");
}

TEST(AnEventInJson, HasTheOldItemBesideTheNewOne) {
    const Event renamed = {"renamed", Entry{"Atlas", "a"}, Entry{"Maps", "m"}, {}};
    EXPECT_EQ(JsonOf(renamed, JsonStyle::Short),
              R"({"event":"renamed","name":"Atlas","id":"a","old_name":"Maps","old_id":"m"})");
}

TEST(AListInJson, MarksTheSelectedPlaceAndNoOtherOfTheSameId) {
    ListState list;
    list.items = {{"A", "x"}, {"B", "x"}};
    list.selected = 0;
    EXPECT_EQ(JsonOf(list, JsonStyle::Short),
              R"([{"name":"A","id":"x","selected":true},{"name":"B","id":"x","selected":false}])");
}

TEST(AListInJson, IsWholeOrThereIsNoMemoryForIt) {
    ListState list;
    list.items = {{"A", "a"}, {"B", "b"}};
    const std::string whole = JsonOf(list, JsonStyle::Pretty);
    bool hasFailed = true;
    for (std::size_t nth = 1; hasFailed; ++nth) {
        const recording::FailingAllocation outOfMemory(nth);
        try {
            EXPECT_EQ(JsonOf(list, JsonStyle::Pretty), whole);
        } catch (const std::bad_alloc&) {
            EXPECT_TRUE(outOfMemory.HasFailed());
        }
        hasFailed = outOfMemory.HasFailed();
    }
}
