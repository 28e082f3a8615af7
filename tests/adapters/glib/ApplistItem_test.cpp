// SPDX-License-Identifier: MIT

#include "adapters/glib/ApplistItem.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>

#include "adapters/glib/ItemObject.h"
#include "support/RecordingAllocator.h"

namespace {

using Item = std::unique_ptr<ApplistItem, decltype(&g_object_unref)>;
using Bytes = std::unique_ptr<GBytes, decltype(&g_bytes_unref)>;

Item NewItem(std::string name, std::string id) {
    return Item(applist::NewItemObject(RemoteAppListItem(std::move(name), std::move(id))),
                g_object_unref);
}

std::string Text(GBytes* bytes) {
    gsize size = 0;
    gconstpointer const data = g_bytes_get_data(bytes, &size);
    return std::string(static_cast<const char*>(data), size);
}

}  // namespace

TEST(AnItemObject, KeepsItsNameAndItsIdOnce) {
    constexpr std::size_t kLength = 1000000;
    const std::size_t before = recording::BytesInUse();
    const Item item = NewItem(std::string(kLength, 'n'), std::string(kLength, 'i'));

    EXPECT_GT(before + 2 * kLength + kLength / 2, recording::BytesInUse());
    EXPECT_EQ(std::string(kLength, 'n'), applist_item_get_name(item.get()));
    EXPECT_EQ(std::string(kLength, 'i'), applist_item_get_id(item.get()));
}

TEST(AnItemObject, ShowsAnotherNameAsTextWhateverItsBytesAre) {
    const Item item = NewItem("\xff", "id");
    EXPECT_STREQ("\uFFFD", applist_item_get_name(item.get()));

    applist::SetNameOf(item.get(), "Maps");
    EXPECT_STREQ("Maps", applist_item_get_name(item.get()));
    applist::SetNameOf(item.get(), std::string("M\0", 2));
    EXPECT_STREQ("M\uFFFD", applist_item_get_name(item.get()));
    applist::SetNameOf(item.get(), "");
    EXPECT_STREQ("", applist_item_get_name(item.get()));
}

TEST(AnItemObject, HasBytesOfItsIdThatMayOutliveIt) {
    const std::string id("a\0b\xff", 4);
    Item item = NewItem("Name", id);
    GBytes* const bytes = applist_item_get_id_bytes(item.get());
    EXPECT_EQ(bytes, applist_item_get_id_bytes(item.get()));

    const Bytes kept(g_bytes_ref(bytes), g_bytes_unref);
    item.reset();

    EXPECT_EQ(id, Text(kept.get()));
}

TEST(AnItemObject, IsEmptyWhenItIsNobodys) {
    const Item item(APPLIST_ITEM(g_object_new(APPLIST_TYPE_ITEM, nullptr)), g_object_unref);

    EXPECT_STREQ("", applist_item_get_name(item.get()));
    EXPECT_STREQ("", applist_item_get_id(item.get()));
    EXPECT_EQ("", Text(applist_item_get_id_bytes(item.get())));
}
