// A partner's copy, fed with one pair of list and selection after another by a service that may
// send anything. In place of a list, "!" clears the copy and "=" gives it a selection alone.

#include "partner/Replica.h"

#include <algorithm>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "applist/ReferenceService.h"
#include "fuzz/Check.h"
#include "fuzz/Input.h"

using applist::Replica;
using applist::fuzz::Check;
using applist::fuzz::Input;
using applist::fuzz::kFaultIsPlanted;
using std::string;

namespace {

using Taken = Replica::Taken;

struct Item {
    string name;
    string id;
};

bool operator==(const Item& left, const Item& right) {
    return left.name == right.name && left.id == right.id;
}
bool operator<(const Item& left, const Item& right) {
    return std::tie(left.name, left.id) < std::tie(right.name, right.id);
}

Item ItemOf(AppListItem& item) {
    return {item.GetVisibleName(), item.GetUnigueId()};
}

// Nothing when any of it is not an item.
std::optional<std::vector<Item>> ItemsIn(const string& text) {
    std::vector<Item> items;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = text.find('\n', at);
        ReferenceService::Item item{0, "", ""};
        if (end == string::npos) return std::nullopt;
        if (!ReferenceService::ReadLine(text.substr(at, end - at), item)) return std::nullopt;
        items.push_back({item.name, item.id});
        at = end + 1;
    }
    return items;
}

std::optional<Item> OneItemIn(const string& text) {
    const std::optional<std::vector<Item>> items = ItemsIn(text);
    return items && items->size() == 1 ? items->front() : std::optional<Item>();
}

// The replica with what it ought to hold.
class Pair {
public:
    void Update(const string& list, const string& selection) {
        const std::vector<AppListItem*> before = m_replica.GetAllItems();
        const std::optional<std::vector<Item>> items = ItemsIn(list);
        const std::optional<Item> selected = OneItemIn(selection);
        const std::map<Item, std::vector<AppListItem*>> places = PlacesOf(before);
        const string given = Spoilt(list);
        const auto change = m_replica.Update({given.begin(), given.end()}, Bytes(selection));
        Check(change.has_value() == (items && selected),
              "taken when both are valid, or not at all");
        if (!change) return CheckState(false);
        Check(change->items == (*items != m_items), "told of the items when they differ");
        const bool differ = *items != m_items;
        m_items = *items;
        Select(*selected, differ, change->selection);
        CheckState(true);
        CheckPlaces(places, change->gone.size(), before.size());
    }

    void UpdateSelection(const string& selection) {
        const std::optional<Item> selected = OneItemIn(selection);
        Replica::Change change;
        const Taken taken = m_replica.UpdateSelection(Bytes(selection), change);
        Check((taken == Taken::NotUnderstood) == !selected, "understood when it is one item");
        if (taken == Taken::NotInTheList) Check(PlaceOf(*selected) == kNowhere, "it is not there");
        if (taken == Taken::Yes) Select(*selected, false, change.selection);
        CheckState(taken == Taken::Yes);
    }

    void Clear() {
        const Replica::Change change = m_replica.Clear();
        Check(change.items == !m_items.empty(), "told of the items when there were some");
        Check(change.gone.size() == m_items.size(), "all of them go");
        m_items.clear();
        Select(Item(), change.items, change.selection);
        CheckState(true);
    }

private:
    static constexpr std::size_t kNowhere = static_cast<std::size_t>(-1);

    static std::vector<char> Bytes(const string& text) { return {text.begin(), text.end()}; }

    // Planted: takes a list of the same length with the same ends for the list before.
    string Spoilt(const string& list) {
        const auto isLike = [&](const string& other) {
            return list.size() > 16 && list.size() == other.size() &&
                   list.compare(0, 4, other, 0, 4) == 0 &&
                   list.compare(list.size() - 4, 4, other, list.size() - 4, 4) == 0;
        };
        if (kFaultIsPlanted && isLike(m_newest)) return m_newest;
        if (ItemsIn(list)) m_newest = list;
        return list;
    }

    std::map<Item, std::vector<AppListItem*>> PlacesOf(const std::vector<AppListItem*>& items) {
        std::map<Item, std::vector<AppListItem*>> places;
        for (AppListItem* item : items) places[ItemOf(*item)].push_back(item);
        return places;
    }

    // An equal item, else the first of the same id.
    std::size_t PlaceOf(const Item& item) const {
        const auto equal = std::find(m_items.begin(), m_items.end(), item);
        const auto sameId = std::find_if(m_items.begin(), m_items.end(),
                                         [&](const Item& each) { return each.id == item.id; });
        const auto found = equal != m_items.end() ? equal : sameId;
        if (found == m_items.end()) return kNowhere;
        return static_cast<std::size_t>(found - m_items.begin());
    }

    void Select(const Item& selected, bool itemsDiffer, bool told) {
        const std::size_t place = PlaceOf(selected);
        const Item now = place == kNowhere ? selected : m_items[place];
        const bool differs =
            now.id != m_selection.id || (!itemsDiffer && now.name != m_selection.name);
        Check(told == differs, "told of the selection when it is another one");
        m_selection = now;
        m_place = place;
    }

    void CheckState(bool taken) {
        const std::vector<AppListItem*> items = m_replica.GetAllItems();
        Check(items.size() == m_items.size(), "as many items as the service sent");
        for (std::size_t at = 0; at < items.size(); ++at) {
            Check(ItemOf(*items[at]) == m_items[at], "each is what the service sent");
        }
        AppListItem* const selection = m_replica.GetSelection();
        Check(ItemOf(*selection) == m_selection, "the selection is what the service sent");
        const auto found = std::find(items.begin(), items.end(), selection);
        Check((found != items.end()) == (m_place != kNowhere), "it is in the list if it can be");
        if (taken && m_place != kNowhere)
            Check(items[m_place] == selection, "the right one of all");
    }

    // As many of equal items as before and now have in common kept their addresses.
    void CheckPlaces(const std::map<Item, std::vector<AppListItem*>>& before, std::size_t gone,
                     std::size_t countBefore) {
        std::size_t stayed = 0;
        for (const auto& now : PlacesOf(m_replica.GetAllItems())) {
            const auto was = before.find(now.first);
            if (was == before.end()) continue;
            const auto isOld = [&](AppListItem* item) {
                return std::count(was->second.begin(), was->second.end(), item) != 0;
            };
            const std::size_t common = std::min(was->second.size(), now.second.size());
            const auto kept = std::count_if(now.second.begin(), now.second.end(), isOld);
            Check(static_cast<std::size_t>(kept) == common, "an unchanged item keeps its address");
            stayed += common;
        }
        Check(gone == countBefore - stayed, "the others go");
    }

    Replica m_replica;
    std::vector<Item> m_items;
    Item m_selection;
    std::size_t m_place = kNowhere;
    string m_newest;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    Pair pair;
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
    return 0;
}
