// SPDX-License-Identifier: MIT

// A partner's copy, fed with one pair of list and selection after another by a service that may
// send anything. In place of a list, "!" clears the copy and "=" gives it a selection alone.

#include "partner/Replica.h"

#include <algorithm>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "fuzz/Check.h"
#include "fuzz/Input.h"
#include "fuzz/PlainItems.h"
#include "partner/ApplyRowChange.h"

using applist::Replica;
using applist::RowChange;
using namespace applist::fuzz;
using std::string;

namespace {

using Items = std::vector<PlainItem>;
using Objects = std::vector<AppListItem*>;
using Places = std::map<PlainItem, Objects>;
using Taken = Replica::Taken;

// Nothing when any of it is not an item.
std::optional<Items> ItemsIn(const string& text) {
    const PlainText plain = ReadPlainText(text);
    return plain.badLine == 0 ? std::make_optional(plain.items) : std::nullopt;
}

std::optional<PlainItem> OneItemIn(const string& text) {
    const std::optional<Items> items = ItemsIn(text);
    return items && items->size() == 1 ? std::make_optional(items->front()) : std::nullopt;
}

std::vector<char> Bytes(const string& text) {
    return {text.begin(), text.end()};
}

Places PlacesOf(const Objects& objects) {
    Places places;
    for (AppListItem* object : objects) places[PlainItemOf(*object)].push_back(object);
    return places;
}

// The replica, with a view that asks for its rows or without, and what it ought to hold.
class Pair {
public:
    explicit Pair(bool findsRows) : m_findsRows(findsRows) { m_replica.FindRows(findsRows); }

    void Update(const string& list, const string& selection) {
        const Places before = PlacesOf(m_replica.GetAllItems());
        const std::optional<Items> items = ItemsIn(list);
        const std::optional<PlainItem> selected = OneItemIn(selection);
        const auto change = m_replica.Update(Bytes(Spoilt(list)), Bytes(selection));
        Check(change.has_value() == (items && selected), "taken when both are valid, else not");
        if (!change) return CheckState();
        Check(change->items == !(*items == m_items), "told of the items when they differ");
        TakeRows(*change, *items);
        Select(*selected, change->items, change->selection);
        CheckState();
        CheckPlaces(before, *change);
    }

    void UpdateSelection(const string& selection) {
        const std::optional<PlainItem> selected = OneItemIn(selection);
        Replica::Change change;
        const Taken taken = m_replica.UpdateSelection(Bytes(selection), change);
        Check((taken == Taken::NotUnderstood) == !selected, "understood when it is one item");
        if (taken == Taken::NotInTheList) Check(PlaceOf(*selected) == kNowhere, "it is not there");
        if (taken == Taken::Yes) Select(*selected, false, change.selection);
        CheckState();
    }

    void Clear() {
        const Places before = PlacesOf(m_replica.GetAllItems());
        const Replica::Change change = m_replica.Clear();
        Check(change.items == !m_items.empty(), "told of the items when there were some");
        TakeRows(change, Items());
        Select(PlainItem(), change.items, change.selection);
        CheckState();
        CheckPlaces(before, change);
    }

private:
    static constexpr std::size_t kNowhere = static_cast<std::size_t>(-1);

    // Planted: takes a list of the same length with the same ends for the list before.
    string Spoilt(const string& list) {
        const bool isLike = list.size() > 16 && list.size() == m_newest.size() &&
                            list.substr(0, 4) == m_newest.substr(0, 4) &&
                            list.substr(list.size() - 4) == m_newest.substr(list.size() - 4);
        if (kFaultIsPlanted && isLike) return m_newest;
        if (ItemsIn(list)) m_newest = list;
        return list;
    }

    // An equal item, else the first of the same id.
    std::size_t PlaceOf(const PlainItem& item) const {
        const auto equal = std::find(m_items.begin(), m_items.end(), item);
        const auto sameId = std::find_if(m_items.begin(), m_items.end(),
                                         [&](const PlainItem& each) { return each.id == item.id; });
        const auto found = equal != m_items.end() ? equal : sameId;
        if (found == m_items.end()) return kNowhere;
        return static_cast<std::size_t>(found - m_items.begin());
    }

    // As a view does.
    void TakeRows(const Replica::Change& change, const Items& now) {
        if (!m_findsRows) {
            Check(change.rows.empty(), "told of rows when somebody asks for them");
            m_items = now;
        }
        for (const RowChange& each : change.rows) ApplyRowChange(each, now, m_items);
        Check(m_items == now, "the rows' changes make the new list");
    }

    void Select(const PlainItem& selected, bool itemsDiffer, bool told) {
        m_place = PlaceOf(selected);
        const PlainItem now = m_place == kNowhere ? selected : m_items[m_place];
        const bool isRenamed = !itemsDiffer && now.name != m_selection.name;
        Check(told == (now.id != m_selection.id || isRenamed), "told of another selection");
        m_selection = now;
    }

    void CheckState() {
        const Objects objects = m_replica.GetAllItems();
        Check(PlainItemsOf(objects) == m_items, "the items are those that the service sent");
        AppListItem* const selection = m_replica.GetSelection();
        Check(PlainItemOf(*selection) == m_selection, "so is the selection");
        const bool isListed = std::count(objects.begin(), objects.end(), selection) != 0;
        Check(m_place == kNowhere ? !isListed : objects[m_place] == selection, "the right object");
    }

    // Of equal items, as many as were there both before and now are the same objects.
    void CheckPlaces(const Places& before, const Replica::Change& change) {
        const Places now = PlacesOf(m_replica.GetAllItems());
        Places gone;
        for (const auto& item : change.gone) gone[PlainItemOf(*item)].push_back(item.get());
        std::size_t others = 0;
        for (const auto& [item, was] : before) {
            const auto found = now.find(item);
            const Objects is = found == now.end() ? Objects() : found->second;
            const auto kept = static_cast<std::size_t>(
                std::count_if(was.begin(), was.end(), [&](AppListItem* object) {
                    return std::find(is.begin(), is.end(), object) != is.end();
                }));
            Check(kept == std::min(was.size(), is.size()), "an unchanged item keeps its address");
            Check(gone[item].size() == was.size() - kept, "the others go, and show what they were");
            others += was.size() - kept;
        }
        Check(change.gone.size() == others, "and nobody else goes");
    }

    const bool m_findsRows;
    Replica m_replica;
    Items m_items;
    PlainItem m_selection;
    std::size_t m_place = kNowhere;
    string m_newest;
};

void Feed(Pair& pair, Input input) {
    while (!input.IsEmpty()) {
        const string list(input.Part());
        if (list == "!") {
            pair.Clear();
        } else if (list == "=") {
            pair.UpdateSelection(string(input.Part()));
        } else {
            pair.Update(list, string(input.Part()));
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    for (const bool findsRows : {false, true}) {
        Pair pair(findsRows);
        Feed(pair, Input(data, size));
    }
    return 0;
}
