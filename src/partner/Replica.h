// The copy of the service's list and selection that a partner reads from.
//
// It keeps the list as the text in which it came. An item only knows its line there, so that a list
// of thousands is read anew in the time that it takes to look at its bytes.
//
// Lifetime: owns the items that it hands out; an item that an update leaves
// unchanged keeps its address.

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

namespace applist {

class Replica {
public:
    // What an update changed, for listeners, and the items that are no longer part of the list.
    // They live until this does: whoever still holds a pointer to one is told first.
    struct Change {
        bool items = false;
        bool selection = false;  // another unique id; or another name, and the items did not change
        std::vector<ReplicaItem::Owned> gone;
        std::vector<char> text;                          // in which their lines are
        std::unique_ptr<RemoteAppListItem> goneOutside;  // a selection that was not in the list
    };

    // Items of one list at most. A device shows thousands; a service that sends more lines than
    // this wants our memory.
    static constexpr std::size_t kMaxItems = std::size_t{1} << 22;

    // An empty list with an empty item selected.
    Replica();

    // Takes over a list and a selection, each as the service's reply holds it. Returns nothing, and
    // changes nothing, when either is not what a service sends. Throws std::bad_alloc, and changes
    // nothing, when memory runs out. Whatever was sent, n items take n log n time at most.
    std::optional<Change> Update(std::vector<char> list, const std::vector<char>& selection);

    // Takes over a selection alone, when an item of its id is in the list, or when it is the one
    // that is selected already. Else, and when it throws, nothing changes.
    enum class Taken { Yes, NotInTheList, NotUnderstood };
    Taken UpdateSelection(const std::vector<char>& selection, Change& change);

    // Back to an empty list. Throws as Update does.
    Change Clear();

    // Never null.
    AppListItem* GetSelection() const { return m_selection; }
    std::vector<AppListItem*> GetAllItems() const;
    std::size_t Count() const { return m_items.size(); }

private:
    using Lines = std::vector<ItemText>;
    struct Plan;

    Change Take(std::vector<char> text, const Lines& lines, const ItemText& selection,
                std::vector<char> selectionText);

    // Whatever may fail happens while the plan is made, which changes nothing.
    Plan MakePlan(const Lines& lines, const ItemText& selection) const;
    void PlanItems(const Lines& lines, Plan& plan) const;
    void PlanSelection(const Lines& lines, const ItemText& selection, Plan& plan) const;
    bool IsAnotherSelection(AppListItem& now, bool itemsChanged) const;
    void ApplyItems(const Lines& lines, Plan& plan) noexcept;
    void ApplySelection(Plan& plan) noexcept;

    // As they came: the same again changes nothing.
    std::vector<char> m_text;
    std::vector<char> m_selectionText;
    std::vector<ReplicaItem::Owned> m_items;
    AppListItem* m_selection;                      // in m_items, or m_outside
    std::unique_ptr<RemoteAppListItem> m_outside;  // a selection that is not in the list
};

}  // namespace applist
