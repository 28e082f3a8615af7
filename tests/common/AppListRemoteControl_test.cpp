// SPDX-License-Identifier: MIT

#include "common/AppListRemoteControl.h"

#include <gtest/gtest.h>

#include <type_traits>

static_assert(std::is_same<int, std::underlying_type<AppListRemoteControl>::type>::value &&
                  sizeof(AppListRemoteControl) == 4,
              "the number travels as four bytes");

TEST(TheNumbering, OfEventsNeverChanges) {
    EXPECT_EQ(1, APPLIST_ITEM_CHANGE_EVENT);
    EXPECT_EQ(2, APPLIST_ITEM_SELECTION_EVENT);
    EXPECT_EQ(3, APPLIST_ITEM_CLICKED_EVENT);
    EXPECT_EQ(4, APPLIST_LOCAL_CREATED_EVENT);
}

TEST(TheNumbering, OfFunctionsNeverChanges) {
    EXPECT_EQ(2000, APPLIST_SET_SELECTION_FNC);
    EXPECT_EQ(2001, APPLIST_GET_SELECTION_FNC);
    EXPECT_EQ(2002, APPLIST_GET_ALL_ITEMS_FNC);
    EXPECT_EQ(2003, APPLIST_REMOVE_ALL_ITEMS_FNC);
    EXPECT_EQ(2004, APPLIST_ADD_ITEMS_FNC);
    EXPECT_EQ(2005, APPLIST_ADD_ITEM_AT_END_FNC);
    EXPECT_EQ(2006, APPLIST_SET_CLICKED_FNC);
    EXPECT_EQ(2007, APPLIST_REMOVE_ITEM_FNC);
    EXPECT_EQ(2008, APPLIST_MODIFY_ITEM_FNC);
}
