// SPDX-License-Identifier: MIT

// The copy of the service's list and selection that a partner reads from.
//
// It keeps the list as the text in which it came. An item only knows its line there, so that
// reading a list of thousands again takes little more than looking at its bytes.
//
// Lifetime: owns the items that it hands out. An item that an update does not change keeps its
// address.

#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "AppList.h"
#include "applist/RemoteAppListItem.h"
#include "common/ItemText.h"
#include "partner/ReplicaItem.h"
#include "partner/RowChange.h"

namespace applist {

class Replica {
public:
    // What an update changed, for the listeners, and the items that are no longer in the list.
    // Those live as long as this does, so that everyone who holds a pointer to one can be told
    // first.
    struct Change {
        bool items = false;
        // Another id; or, when the items did not change, another name.
        bool selection = false;
        std::vector<RowChange> rows;  // empty unless FindRows was called
        std::vector<ReplicaItem::Owned> gone;
        std::vector<char> text;                          // where the lines of `gone` are
        std::unique_ptr<RemoteAppListItem> goneOutside;  // a selection that was not in the list
    };

    // The most items that one list may have. A device shows thousands; a service that sends more
    // than this is after our memory.
    static constexpr std::size_t kMaxItems = std::size_t{1} << 22;

    // An empty list with an empty item selected.
    Replica();

    // Takes over a list and a selection, each as the service's reply holds it. Returns nothing, and
    // changes nothing, when either is not valid. Throws std::bad_alloc, and changes nothing, when
    // memory runs out. Whatever was sent, n items take no more than n log n time.
    std::optional<Change> Update(std::vector<char> list, const std::vector<char>& selection);

    enum class Taken { Yes, NotInTheList, NotUnderstood };

    // The same, if the two fit together: an item of the selection's id is in the list, or both are
    // empty, or the selection is what is selected already.
    Taken UpdateIfWhole(std::vector<char> list, const std::vector<char>& selection, Change& change);

    // Takes over a selection alone, if an item of its id is in the list or it is what is selected
    // already. Otherwise, and when it throws, nothing changes.
    Taken UpdateSelection(const std::vector<char>& selection, Change& change);

    // Goes back to an empty list and an empty selection.
    Change Clear() noexcept;

    // Whether changes say from now on which rows they are about. Throws std::bad_alloc.
    void FindRows(bool findsRows);

    // Never null.
    AppListItem* GetSelection() const { return m_selection; }
    std::vector<AppListItem*> GetAllItems() const;
    std::size_t Count() const { return m_items.size(); }

private:
    using Lines = std::vector<ItemText>;
    struct Plan;

    Taken Take(std::vector<char> list, const std::vector<char>& selection, bool onlyIfWhole,
               Change& change);
    static bool IsWhole(const Plan& plan, const std::vector<char>& selection);
    void Apply(std::vector<char> text, const Lines& lines, Plan& plan,
               std::vector<char> selectionText) noexcept;

    // Everything that may fail happens while the plan is made, and nothing is changed until then.
    Plan MakePlan(const Lines& lines, const ItemText& selection) const;
    static void PairWithRows(Plan& plan);
    static void PlanItems(const Lines& lines, Plan& plan);
    void PlanSelection(const Lines& lines, const ItemText& selection, Plan& plan) const;
    bool IsAnotherSelection(AppListItem& now, bool itemsChanged) const;
    void ApplyItems(const Lines& lines, Plan& plan) noexcept;
    void ApplySelection(Plan& plan) noexcept;

    // As they came. A reply that is the same again changes nothing.
    std::vector<char> m_text;
    std::vector<char> m_selectionText;
    std::vector<ReplicaItem::Owned> m_items;
    AppListItem* m_selection;                      // in m_items, or m_outside
    std::unique_ptr<RemoteAppListItem> m_outside;  // a selection that is not in the list
    std::unique_ptr<RemoteAppListItem> m_spare;    // an empty one, for Clear
    bool m_findsRows = false;
    std::vector<RowChange> m_allGone;  // the one that Clear makes, if rows are found
};

}  // namespace applist
