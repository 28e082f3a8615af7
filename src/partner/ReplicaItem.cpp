// SPDX-License-Identifier: MIT

#include "partner/ReplicaItem.h"

#include <algorithm>

namespace applist {

void ReplicaItem::Disown::operator()(ReplicaItem* item) const {
    ItemBlock* const block = item->m_block;
    if (--block->m_owned == 0) delete block;
}

ReplicaItem::Owned ItemBlock::Make(const ItemText& text) {
    ReplicaItem& item = m_items.emplace_back(text, *this);
    ++m_owned;
    return ReplicaItem::Owned(&item);
}

ReplicaItem::Owned ItemMaker::Make(const ItemText& text) {
    if (m_block == nullptr || m_block->IsFull()) {
        m_block = std::make_unique<ItemBlock>(std::min(m_left, ItemBlock::kMaxItems)).release();
    }
    --m_left;
    return m_block->Make(text);
}

}  // namespace applist
