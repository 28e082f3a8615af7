// SPDX-License-Identifier: MIT

#include "adapters/glib/ListRows.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

namespace applist {

namespace {

template <class Rows>
auto Place(Rows& rows, std::size_t row) {
    return rows.begin() + static_cast<std::ptrdiff_t>(row);
}

// Takes `count` rows from `from` out, and puts them in so that the first of them is row `to`.
template <class Rows>
void Rotate(Rows& rows, std::size_t from, std::size_t count, std::size_t to) {
    if (to < from) {
        std::rotate(Place(rows, to), Place(rows, from), Place(rows, from + count));
    } else {
        std::rotate(Place(rows, from), Place(rows, from + count), Place(rows, to + count));
    }
}

ListRows::Item NewItem(AppListItem* item) {
    return {NewItemObject(RemoteAppListItem(*item)), g_object_unref};
}

// Holds back what is told of some items until the views know that the rows are others.
class Quiet {
public:
    explicit Quiet(std::vector<ListRows::Item> items) : m_items(std::move(items)) {
        for (const ListRows::Item& item : m_items) g_object_freeze_notify(G_OBJECT(item.get()));
    }
    ~Quiet() {
        for (const ListRows::Item& item : m_items) g_object_thaw_notify(G_OBJECT(item.get()));
    }
    Quiet(const Quiet&) = delete;
    Quiet& operator=(const Quiet&) = delete;

private:
    const std::vector<ListRows::Item> m_items;
};

}  // namespace

void ListRows::Apply(const std::vector<RowChange>& changes,
                     const std::vector<AppListItem*>& items) {
    const bool isInStep = std::exchange(m_isInStep, false);  // until all went well
    if (isInStep && changes.size() <= kMostSteps) {
        ApplySteps(changes, items);
    } else {
        BeginAnew(items);
    }
    m_isInStep = true;
}

void ListRows::BeginAnew(const std::vector<AppListItem*>& items) {
    std::vector<Item> rows;
    rows.reserve(items.size());
    for (AppListItem* item : items) rows.push_back(NewItem(item));
    Splice({0, m_rows.size()}, rows);
}

void ListRows::ApplySteps(const std::vector<RowChange>& changes,
                          const std::vector<AppListItem*>& items) {
    Rows rows = RowsAfter(changes);
    TakeOutMoved(rows);
    std::size_t next = 0;  // of m_rows, all of which before it are as they will be
    std::size_t begin = 0;
    for (std::size_t at = 0; at <= rows.size(); ++at) {
        if (at < rows.size() && !rows[at].Stays()) continue;
        std::size_t old = next;
        while (old < m_rows.size() && (at == rows.size() || m_rows[old] != rows[at].item)) ++old;
        Replace({next, old}, rows, {begin, at}, items);
        next = begin = at + 1;
    }
}

// Without the items that are new: those are not made yet.
ListRows::Rows ListRows::RowsAfter(const std::vector<RowChange>& changes) const {
    Rows rows;
    rows.reserve(m_rows.size());
    for (const Item& item : m_rows) rows.push_back({item});
    for (const RowChange& change : changes) {
        const auto first = Place(rows, change.row);
        const auto count = static_cast<std::ptrdiff_t>(change.count);
        switch (change.kind) {
            case RowChange::Kind::Removed: rows.erase(first, first + count); break;
            case RowChange::Kind::Inserted: rows.insert(first, change.count, Row()); break;
            case RowChange::Kind::Moved:
                std::for_each(first, first + count, [](Row& row) { row.hasMoved = true; });
                Rotate(rows, change.row, change.count, change.to);
                break;
            case RowChange::Kind::Renamed:
                std::for_each(first, first + count, [](Row& row) { row.isRenamed = true; });
                break;
        }
    }
    return rows;
}

// Before anything is put in, so that no item is there twice.
void ListRows::TakeOutMoved(const Rows& rows) {
    std::unordered_set<ApplistItem*> moved;
    for (const Row& row : rows) {
        if (row.hasMoved) moved.insert(row.item.get());
    }
    for (std::size_t end = m_rows.size(); end > 0 && !moved.empty(); --end) {
        std::size_t begin = end;
        while (begin > 0 && moved.erase(m_rows[begin - 1].get()) > 0) --begin;
        if (begin == end) continue;
        Splice({begin, end}, {});
        end = begin + 1;
    }
}

// Puts the rows `now` of `rows` in the place of those that are there.
void ListRows::Replace(Range old, Rows& rows, Range now, const std::vector<AppListItem*>& items) {
    if (old.begin == old.end && now.begin == now.end) return;
    std::vector<Item> put;
    for (std::size_t at = now.begin; at < now.end; ++at) {
        put.push_back(rows[at].item ? rows[at].item : NewItem(items[at]));
    }
    const Quiet quiet(put);
    for (std::size_t at = now.begin; at < now.end; ++at) {
        if (rows[at].isRenamed) {
            SetNameOf(put[at - now.begin].get(), items[at]->GetVisibleName());
        }
    }
    Splice(old, put);
}

void ListRows::Splice(Range old, const std::vector<Item>& items) {
    const std::size_t removed = old.end - old.begin;
    const auto both = static_cast<std::ptrdiff_t>(std::min(removed, items.size()));
    // What is removed stays alive until the views have been told.
    const std::vector<Item> gone(Place(m_rows, old.begin), Place(m_rows, old.end));
    // What throws does so before anything is another.
    const std::size_t size = m_rows.size() - removed + items.size();
    if (size > m_rows.capacity()) m_rows.reserve(std::max(size, 2 * m_rows.capacity()));
    std::copy(items.begin(), items.begin() + both, Place(m_rows, old.begin));
    m_rows.erase(Place(m_rows, old.begin) + both, Place(m_rows, old.end));
    m_rows.insert(Place(m_rows, old.begin) + both, items.begin() + both, items.end());
    m_told(old.begin, removed, items.size());
}

}  // namespace applist
