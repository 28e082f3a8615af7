// SPDX-License-Identifier: MIT

// The rows of an ApplistModel, as its views have them at each moment: a change of the list reaches
// them in steps, and after each step they are what the views were told.
//
// Threads: the model's. Lifetime: owns a reference to each item.

#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <vector>

#include "AppList.h"
#include "adapters/glib/ItemObject.h"
#include "partner/RowChange.h"

namespace applist {

class ListRows {
public:
    using Item = std::shared_ptr<ApplistItem>;

    // At `row`, `removed` rows have been replaced by `added` others. Called after that was done.
    using Told = std::function<void(std::size_t row, std::size_t removed, std::size_t added)>;

    explicit ListRows(Told told) : m_told(std::move(told)) {}

    // Turns the rows into `items`, which `changes` do as well, and tells of each step. When they
    // are more than kMostSteps, or the last time memory ran out in between, all rows are replaced
    // by new objects in one step. Throws std::bad_alloc. A step is rows next to each other, none of
    // which stays as it is; each row is in one step, but for a row that moves: it is taken out in
    // one and put in again in another. An item that moves or gets another name is the same object
    // as before.
    void Apply(const std::vector<RowChange>& changes, const std::vector<AppListItem*>& items);

    // At each step a view may look at all its rows.
    static constexpr std::size_t kMostSteps = 1000;

    std::size_t Count() const { return m_rows.size(); }
    const Item& At(std::size_t row) const { return m_rows[row]; }

private:
    struct Row {
        Item item;
        bool hasMoved = false;
        bool isRenamed = false;
        bool Stays() const { return item != nullptr && !hasMoved && !isRenamed; }
    };
    using Rows = std::vector<Row>;
    struct Range {
        std::size_t begin;
        std::size_t end;
    };

    void ApplySteps(const std::vector<RowChange>& changes, const std::vector<AppListItem*>& items);
    void BeginAnew(const std::vector<AppListItem*>& items);
    Rows RowsAfter(const std::vector<RowChange>& changes) const;
    void TakeOutMoved(const Rows& rows);
    void Replace(Range old, Rows& rows, Range now, const std::vector<AppListItem*>& items);
    void Splice(Range old, const std::vector<Item>& items);

    const Told m_told;
    std::vector<Item> m_rows;
    bool m_isInStep = true;  // they are those that the next changes start from
};

}  // namespace applist
