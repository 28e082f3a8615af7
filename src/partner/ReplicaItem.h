// The items that a replica hands out. Each knows only its line in the text of the list.
//
// They are made in blocks, because the thousands of a list often come and go together. A block
// lives until none of its items is owned any more, and is small, so that a last one keeps little.
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
    struct Disown {
        void operator()(ReplicaItem* item) const;
    };
    using Owned = std::unique_ptr<ReplicaItem, Disown>;

    ReplicaItem(const ItemText& text, ItemBlock& block) : m_text(text), m_block(&block) {}

    std::string GetVisibleName() override { return m_text.VisibleName(); }
    std::string GetUnigueId() override { return m_text.UniqueId(); }

    const ItemText& Text() const { return m_text; }

    // The same item in a newer text.
    // REQUIRES: `text` is equal to the one before.
    void Renew(const ItemText& text) { m_text = text; }

private:
    ItemText m_text;
    ItemBlock* m_block;
};

class ItemBlock {
public:
    // One that stays keeps the memory of so many.
    static constexpr std::size_t kMaxItems = 64;

    // Room for `size` items, which never move.
    explicit ItemBlock(std::size_t size) { m_items.reserve(size); }

    bool IsFull() const { return m_items.size() == m_items.capacity(); }

    // REQUIRES: not full.
    ReplicaItem::Owned Make(const ItemText& text);

private:
    friend struct ReplicaItem::Disown;

    std::vector<ReplicaItem> m_items;
    std::size_t m_owned = 0;
};

// Makes up to `count` items. REQUIRES: they stay owned while it makes more.
class ItemMaker {
public:
    explicit ItemMaker(std::size_t count) : m_left(count) {}

    ReplicaItem::Owned Make(const ItemText& text);

private:
    std::size_t m_left;
    ItemBlock* m_block = nullptr;  // goes with its items
};

}  // namespace applist
