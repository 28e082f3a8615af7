// SPDX-License-Identifier: MIT

// The numbers of the messages between service and partner. They travel as signed 32-bit integers in
// the host's byte order, and never change.

#pragma once

enum AppListRemoteControl : int {
    // Events, service to partner. None carries a payload: it says that something happened, and
    // the partner asks for what it wants to know.
    APPLIST_ITEM_CHANGE_EVENT = 1,
    APPLIST_ITEM_SELECTION_EVENT = 2,
    APPLIST_ITEM_CLICKED_EVENT = 3,
    APPLIST_LOCAL_CREATED_EVENT = 4,

    // Functions, partner to service.        request                 reply
    APPLIST_SET_SELECTION_FNC = 2000,     // the item to select      empty
    APPLIST_GET_SELECTION_FNC = 2001,     // ignored                 the current selection
    APPLIST_GET_ALL_ITEMS_FNC = 2002,     // ignored                 every item, in list order
    APPLIST_REMOVE_ALL_ITEMS_FNC = 2003,  // ignored                 empty
    APPLIST_ADD_ITEMS_FNC = 2004,         // any number of items     empty
    APPLIST_ADD_ITEM_AT_END_FNC = 2005,   // one item                empty
    APPLIST_SET_CLICKED_FNC = 2006,       // ignored                 empty; not carried out
    APPLIST_REMOVE_ITEM_FNC = 2007,       // one item, by its id     empty
    APPLIST_MODIFY_ITEM_FNC = 2008        // old item, new item      empty
};

static_assert(sizeof(AppListRemoteControl) == 4, "the number is a 4-byte trailer on the wire");
