// SPDX-License-Identifier: MIT

// The items that a replica hands out. Each knows only its line in the text of the list.
//
// They are made in blocks, because the thousands of a list often come and go together. A block
// lives until none of its items is owned any more; it is small, so that a single item which stays
// keeps little memory.
//
// Lifetime: an item keeps its address while it is owned.

#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "AppList.h"
#include "common/ItemText.h"

namespace applist {

class ItemBlock;

class ReplicaItem : public AppListItem {
public:
    // Gives up an item; the last one of a block takes the block with it.
    struct Disown {
        void operator()(ReplicaItem* item) const;
    };
    using Owned = std::unique_ptr<ReplicaItem, Disown>;

    ReplicaItem(const ItemText& text, ItemBlock& block) : m_text(text), m_block(&block) {}

    std::string GetVisibleName() override { return m_text.VisibleName(); }
    std::string GetUnigueId() override { return m_text.UniqueId(); }

    const ItemText& Text() const { return m_text; }

    // Points the item to its line in a newer text, before the old text goes.
    // REQUIRES: `text` is equal to the one before.
    void Renew(const ItemText& text) { m_text = text; }

private:
    ItemText m_text;
    ItemBlock* m_block;
};

// The memory of some items that were made one after another.
class ItemBlock {
public:
    // A single item that stays keeps the memory of this many.
    static constexpr std::size_t kMaxItems = 64;

    // Makes room for `size` items at once, since a vector that grows would move them.
    explicit ItemBlock(std::size_t size) { m_items.reserve(size); }

    bool IsFull() const { return m_items.size() == m_items.capacity(); }

    // REQUIRES: not full.
    ReplicaItem::Owned Make(const ItemText& text);

private:
    friend struct ReplicaItem::Disown;

    std::vector<ReplicaItem> m_items;
    std::size_t m_owned = 0;  // how many of them somebody still has
};

// Makes up to `count` items. REQUIRES: they stay owned while it makes more, because the block that
// it is filling goes with the last of its items.
class ItemMaker {
public:
    explicit ItemMaker(std::size_t count) : m_left(count) {}

    ReplicaItem::Owned Make(const ItemText& text);

private:
    std::size_t m_left;
    ItemBlock* m_block = nullptr;  // owned by its items
};

}  // namespace applist
