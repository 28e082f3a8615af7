// SPDX-License-Identifier: MIT

// The five contracts between the owner of an application list and everything that shows, serves or
// changes that list: three listeners, the item and the model.
//
// Threads: none of these interfaces takes a lock. A model, its items and its listeners live on one
// thread, the one that runs the application's main loop. Calling them from another is undefined.
//
// Null: no argument may be null, and nothing that a published model returns may be null either.
// Nobody checks: not the service that publishes a model, and not the partner's model.
//
// Exceptions: what becomes of an exception that a listener throws is up to the model that called
// it; the partner's model (partner/RemoteAppListModel.h) logs it and tells the next listener. What
// a published model or one of its items throws while it is called for a partner reaches the
// transport; ours answers that call with an error. An operation that throws std::bad_alloc should
// leave the list as it was. As not every one does, the service then asks the model for its items,
// and frees those of the new and the replaced ones that are not among them.
//
// Equal ids: two items with equal ids are the same item. A list that holds both anyway is published
// as it is, and a search for their id finds the first.
//
// Ownership: every pointer that crosses these interfaces is a raw pointer, and no operation passes
// ownership in either direction.
//  - The model owns the items that it hands out; callers read or copy them and never delete them.
//  - The caller owns the items that it passes in, and keeps them alive while they are in the model.
//  - As soon as RemoveItem, ModifyItem or RemoveAllItems returns, the caller may delete what it had
//    added; the model then holds no pointer to it.
//  - Listeners are not owned. Remove a listener before you destroy it.

#pragma once

#include <string>
#include <vector>

class AppListModel;

class ItemSelectionListener {
public:
    // The current selection of `applist`, the model that calls, has changed.
    virtual void ItemSelected(AppListModel* applist) = 0;

    virtual ~ItemSelectionListener() {}
};

class ItemChangeListener {
public:
    // The items of `applist`, the model that calls, have changed.
    virtual void ItemChanged(AppListModel* applist) = 0;

    virtual ~ItemChangeListener() {}
};

class ItemClickListener {
public:
    // An item of `applist`, the model that calls, was clicked.
    virtual void ItemClicked(AppListModel* applist) = 0;

    virtual ~ItemClickListener() {}
};

// One application. Names and ids are bytes: no character set is assumed, no byte is special.
class AppListItem {
public:
    // The name that the item shows to the user. For display and log lines, never for comparison.
    virtual std::string GetVisibleName() = 0;

    // What tells the item apart from every other item: items with equal ids are the same item.
    // "Unigue" is misspelled for good: implement it and call it exactly as it is spelled here.
    virtual std::string GetUnigueId() = 0;

    virtual ~AppListItem() {}
};

// A list of items in a fixed order, with one of them selected.
class AppListModel {
public:
    // Makes `selection` the current selection. The argument may be a stand-in that lives only
    // during the call: the model looks its own item up by unique id and never keeps this pointer.
    virtual void SetSelection(AppListItem* selection) = 0;

    // Returns the current selection. A model that is published to a partner always has one: its
    // readers do not test for null.
    virtual AppListItem* GetSelection() = 0;

    // Returns all items in list order. The vector is the caller's, the items are the model's. A
    // model that is published returns what was added to it by the pointer with which it was added,
    // and leaves none out: after std::bad_alloc the service frees what it does not find here.
    virtual std::vector<AppListItem*> GetAllItems() = 0;

    // Reports that `clicked` was clicked; the model tells its click listeners.
    virtual void SetClicked(AppListItem* clicked) = 0;

    // Empties the list. Afterwards the caller may delete every item that it had added.
    virtual void RemoveAllItems() = 0;

    // Adds the items in the vector's order. The vector is gone when the call returns: copy the
    // pointers out of it.
    virtual void AddItems(const std::vector<AppListItem*>& items) = 0;

    // Appends one item after the last one.
    virtual void AddItemAtEnd(AppListItem* item) = 0;

    // Removes the item. The caller may delete it as soon as the call returns.
    virtual void RemoveItem(AppListItem* item) = 0;

    // Replaces `oldItem`, which is in the list, by `newItem`. The caller may delete `oldItem` as
    // soon as the call returns, and keeps `newItem` alive.
    virtual void ModifyItem(AppListItem* oldItem, AppListItem* newItem) = 0;

    // Returns the number of items in the list.
    virtual int GetItemsCount() = 0;

    // Start, or stop, telling `listener` of each event of its kind, after the event has taken
    // place and with this model as the argument. A listener may be called from inside any
    // operation of the model.
    virtual void AddItemSelectionListener(ItemSelectionListener* listener) = 0;
    virtual void RemoveItemSelectionListener(ItemSelectionListener* listener) = 0;
    virtual void AddItemChangeListener(ItemChangeListener* listener) = 0;
    virtual void RemoveItemChangeListener(ItemChangeListener* listener) = 0;
    virtual void AddItemClickedListener(ItemClickListener* listener) = 0;
    virtual void RemoveItemClickedListener(ItemClickListener* listener) = 0;

    virtual ~AppListModel() {}
};
