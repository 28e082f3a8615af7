// SPDX-License-Identifier: MIT

#include "applist/RemoteAppListItem.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <type_traits>

#include "support/RecordingModel.h"

using recording::OwnItem;
using std::string;

static_assert(std::is_convertible<RemoteAppListItem*, AppListItem*>::value, "a public base");
static_assert(std::is_default_constructible<RemoteAppListItem>::value, "");
static_assert(std::is_constructible<RemoteAppListItem, AppListItem&>::value, "");
static_assert(std::is_copy_constructible<RemoteAppListItem>::value, "");
static_assert(sizeof(RemoteAppListItem) == sizeof(AppListItem) + 2 * sizeof(string),
              "two strings and no other state");

namespace {

// Tells how often it was asked.
class CountingItem : public AppListItem {
public:
    string GetVisibleName() override {
        ++m_askedForName;
        return "Maps";
    }
    string GetUnigueId() override {
        ++m_askedForId;
        return "maps";
    }

    int m_askedForName = 0;
    int m_askedForId = 0;
};

}  // namespace

TEST(AReceivedItem, IsEmptyAtFirst) {
    RemoteAppListItem item;

    EXPECT_EQ("", item.GetVisibleName());
    EXPECT_EQ("", item.GetUnigueId());
}

TEST(AReceivedItem, HoldsTheTwoStringsThatItWasMadeOf) {
    RemoteAppListItem item("Maps", "maps");

    EXPECT_EQ("Maps", item.GetVisibleName());
    EXPECT_EQ("maps", item.GetUnigueId());
}

TEST(AReceivedItem, HoldsBytesAsTheyAre) {
    const string bytes("a\0b\xFF\n", 5);
    RemoteAppListItem item(bytes, bytes);

    EXPECT_EQ(bytes, item.GetVisibleName());
    EXPECT_EQ(bytes, item.GetUnigueId());
}

TEST(ASnapshot, TakesNameAndIdThroughTheGetters) {
    OwnItem original("Maps", "maps");

    RemoteAppListItem snapshot(original);

    EXPECT_EQ("Maps", snapshot.GetVisibleName());
    EXPECT_EQ("maps", snapshot.GetUnigueId());
}

TEST(ASnapshot, KeepsTheOldNameWhenTheItemIsRenamed) {
    OwnItem original("Maps", "maps");
    RemoteAppListItem snapshot(original);

    original.m_name = "Atlas";
    original.m_id = "atlas";

    EXPECT_EQ("Maps", snapshot.GetVisibleName());
    EXPECT_EQ("maps", snapshot.GetUnigueId());
}

TEST(ASnapshot, AsksForEachStringOnce) {
    CountingItem original;

    RemoteAppListItem snapshot(original);
    snapshot.GetVisibleName();
    snapshot.GetUnigueId();

    EXPECT_EQ(1, original.m_askedForName);
    EXPECT_EQ(1, original.m_askedForId);
}

TEST(ACopy, OutlivesItsSource) {
    auto source = std::make_unique<RemoteAppListItem>("Maps", string(100, 'm'));

    RemoteAppListItem copy(*source);
    source.reset();

    EXPECT_EQ("Maps", copy.GetVisibleName());
    EXPECT_EQ(string(100, 'm'), copy.GetUnigueId());
}
