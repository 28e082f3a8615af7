#include "partner/Replica.h"

#include <algorithm>
#include <functional>
#include <istream>
#include <streambuf>
#include <string>
#include <unordered_map>
#include <utility>

#include "applist/ApplistItemComparator.h"

namespace {

// A stream over bytes that stay where they are.
class ByteBuffer : public std::streambuf {
public:
    explicit ByteBuffer(const std::vector<char>& bytes) {
        char* const begin = const_cast<char*>(bytes.data());  // a get area is never written to
        setg(begin, begin, begin + bytes.size());
    }
};

// Reads `text` to its end. Half an item, anything that is no item, and more items than `limit`
// mean that nothing of it is to be trusted.
std::optional<Replica::Items> ReadItems(const std::vector<char>& text, std::size_t limit) {
    // An item is one line: too many are refused before the first costs memory.
    const auto lines = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
    if (lines > limit) return std::nullopt;
    ByteBuffer buffer(text);
    std::istream in(&buffer);
    Replica::Items items;
    items.reserve(lines);
    while (in.peek() != std::istream::traits_type::eof()) {
        items.push_back(std::make_unique<RemoteAppListItem>());
        if (!(in >> *items.back())) return std::nullopt;
    }
    return items;
}

std::size_t HashOf(RemoteAppListItem& item) {
    const std::hash<std::string> hash;
    return hash(item.GetUnigueId()) * 31 + hash(item.GetVisibleName());
}

// Puts the old objects in the place of equal new ones. Returns the old ones that have no equal;
// `changed` says whether the lists differ.
Replica::Items KeepEqualOnes(Replica::Items& before, Replica::Items& now, bool& changed) {
    const std::size_t shorter = std::min(before.size(), now.size());
    std::size_t head = 0;
    while (head < shorter && *before[head] == *now[head]) {
        now[head].swap(before[head]);
        ++head;
    }
    std::size_t tail = 0;
    while (tail < shorter - head &&
           *before[before.size() - 1 - tail] == *now[now.size() - 1 - tail]) {
        now[now.size() - 1 - tail].swap(before[before.size() - 1 - tail]);
        ++tail;
    }
    changed = head + tail < std::max(before.size(), now.size());

    std::unordered_multimap<std::size_t, std::size_t> places;
    for (std::size_t at = head; at < before.size() - tail; ++at) {
        places.emplace(HashOf(*before[at]), at);
    }
    for (std::size_t at = head; at < now.size() - tail && !places.empty(); ++at) {
        // Not equal_range, which walks to its end: with n equal items that is n steps for each.
        const std::size_t hash = HashOf(*now[at]);
        auto found = places.find(hash);
        while (found != places.end() && found->first == hash &&
               !(*before[found->second] == *now[at])) {
            ++found;
        }
        if (found == places.end() || found->first != hash) continue;
        now[at].swap(before[found->second]);
        places.erase(found);
    }
    Replica::Items gone;
    gone.reserve(places.size());
    for (const auto& place : places) gone.push_back(std::move(before[place.second]));
    return gone;
}

}  // namespace

Replica::Replica() : m_selection(nullptr), m_outside(std::make_unique<RemoteAppListItem>()) {
    m_selection = m_outside.get();
}

std::optional<Replica::Change> Replica::Update(const std::vector<char>& list,
                                               const std::vector<char>& selection) {
    std::optional<Items> items = ReadItems(list, kMaxItems);
    std::optional<Items> selected = ReadItems(selection, 1);
    if (!items || !selected || selected->empty()) return std::nullopt;
    return Take(std::move(*items), std::move(selected->front()));
}

Replica::Change Replica::Clear() {
    return Take(Items(), std::make_unique<RemoteAppListItem>());
}

std::vector<AppListItem*> Replica::GetAllItems() const {
    std::vector<AppListItem*> items;
    items.reserve(m_items.size());
    for (const auto& item : m_items) items.push_back(item.get());
    return items;
}

Replica::Change Replica::Take(Items items, std::unique_ptr<RemoteAppListItem> selection) {
    Change change;
    Items before = std::move(m_items);
    m_items = std::move(items);
    change.gone = KeepEqualOnes(before, m_items, change.items);
    RemoteAppListItem* const selected = m_selection;
    Select(std::move(selection), change.gone);
    // A selected item that is renamed is a change of the items. Without one, the name that is shown
    // as selected is other only because another object is.
    change.selection = !ApplistItemComparator(selected)(m_selection) ||
                       (!change.items && !(*selected == *m_selection));
    return change;
}

// The service's selection is a copy of an item: ours is the first of that id, as it is there. One
// that changed its name between the two replies is still that item.
void Replica::Select(std::unique_ptr<RemoteAppListItem> selection, Items& gone) {
    auto found = std::find_if(m_items.begin(), m_items.end(),
                              [&](const auto& item) { return *item == *selection; });
    if (found == m_items.end()) {
        const ApplistItemComparator isSelected(selection.get());
        found = std::find_if(m_items.begin(), m_items.end(),
                             [&](const auto& item) { return isSelected(item.get()); });
    }
    if (found == m_items.end() && m_outside && *m_outside == *selection) {
        m_selection = m_outside.get();
        return;
    }
    if (m_outside) gone.push_back(std::move(m_outside));
    if (found == m_items.end()) m_outside = std::move(selection);
    m_selection = m_outside ? m_outside.get() : found->get();
}
