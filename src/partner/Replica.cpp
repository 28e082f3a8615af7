#include "partner/Replica.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "applist/ApplistItemComparator.h"

namespace {

using Items = std::vector<ReplicaItem::Owned>;

// Finds the items from `begin` to `end` of `items` by their lines, each one once, the first of
// equal ones first. Chains in one flat table: with all items equal, each is still found at once.
class ItemsByLine {
public:
    ItemsByLine(Items& items, std::size_t begin, std::size_t end)
        : m_items(items), m_begin(begin), m_entries(end - begin) {
        while (m_first.size() < m_entries.size()) m_first.resize(2 * m_first.size());
        std::fill(m_first.begin(), m_first.end(), kNone);
        for (std::size_t at = m_entries.size(); at-- > 0;) {
            const std::size_t hash = items[begin + at]->Line().Hash();
            std::uint32_t& first = First(hash);
            m_entries[at] = {hash, first};
            first = static_cast<std::uint32_t>(at);
        }
    }

    // Returns null when there is none (left).
    ReplicaItem::Owned Take(const ItemLine& line) {
        if (m_entries.empty()) return nullptr;
        const std::size_t hash = line.Hash();
        for (std::uint32_t* at = &First(hash); *at != kNone; at = &m_entries[*at].next) {
            ReplicaItem::Owned& item = m_items[m_begin + *at];
            if (m_entries[*at].hash != hash || !(item->Line() == line)) continue;
            *at = m_entries[*at].next;
            return std::move(item);
        }
        return nullptr;
    }

private:
    static constexpr std::uint32_t kNone = UINT32_MAX;

    struct Entry {
        std::size_t hash;
        std::uint32_t next;  // with the same first one
    };

    std::uint32_t& First(std::size_t hash) { return m_first[hash & (m_first.size() - 1)]; }

    Items& m_items;
    const std::size_t m_begin;
    std::vector<Entry> m_entries;
    std::vector<std::uint32_t> m_first = std::vector<std::uint32_t>(1);
};

}  // namespace

Replica::Replica() : m_outside(std::make_unique<RemoteAppListItem>()) {
    m_selection = m_outside.get();
}

std::optional<Replica::Change> Replica::Update(std::vector<char> list,
                                               const std::vector<char>& selection) {
    const std::optional<Lines> lines = ReadLines(list, kMaxItems);
    const std::optional<Lines> selected = ReadLines(selection, 1);
    if (!lines || !selected || selected->empty()) return std::nullopt;
    return Take(std::move(list), *lines, selected->front());
}

Replica::Change Replica::Clear() {
    return Take(std::vector<char>(), Lines(), *ItemLine::Of("\t"));
}

std::vector<AppListItem*> Replica::GetAllItems() const {
    std::vector<AppListItem*> items;
    items.reserve(m_items.size());
    for (const auto& item : m_items) items.push_back(item.get());
    return items;
}

Replica::Change Replica::Take(std::vector<char> text, const Lines& lines,
                              const ItemLine& selection) {
    Change change;
    AppListItem* const selected = m_selection;
    TakeItems(lines, change);
    Select(lines, selection, change);
    // A selected item that is renamed is a change of the items. Without one, the name that is shown
    // as selected is other only because another object is.
    change.selection =
        !ApplistItemComparator(selected)(m_selection) ||
        (!change.items && selected->GetVisibleName() != m_selection->GetVisibleName());
    change.text = std::exchange(m_text, std::move(text));
    return change;
}

// Unchanged items stay, with their lines in the new text.
void Replica::TakeItems(const Lines& lines, Change& change) {
    Items before = std::exchange(m_items, Items(lines.size()));
    const std::size_t shorter = std::min(before.size(), lines.size());
    std::size_t head = 0;
    while (head < shorter && before[head]->Line() == lines[head]) {
        m_items[head] = std::move(before[head]);
        ++head;
    }
    std::size_t oldEnd = before.size();
    std::size_t newEnd = lines.size();
    while (oldEnd > head && newEnd > head && before[oldEnd - 1]->Line() == lines[newEnd - 1]) {
        m_items[--newEnd] = std::move(before[--oldEnd]);
    }
    change.items = head < oldEnd || head < newEnd;

    ItemsByLine middle(before, head, oldEnd);
    ItemMaker maker(newEnd - head);
    for (std::size_t at = head; at < newEnd; ++at) {
        m_items[at] = middle.Take(lines[at]);
        if (!m_items[at]) m_items[at] = maker.Make(lines[at]);
    }
    for (std::size_t at = 0; at < lines.size(); ++at) m_items[at]->Renew(lines[at]);
    for (std::size_t at = head; at < oldEnd; ++at) {
        if (before[at]) change.gone.push_back(std::move(before[at]));
    }
}

// The service's selection is a copy of an item: ours is the first of that id, as it is there. One
// that changed its name between the two replies is still that item.
void Replica::Select(const Lines& lines, const ItemLine& selection, Change& change) {
    auto found = std::find(lines.begin(), lines.end(), selection);
    if (found == lines.end()) {
        found = std::find_if(lines.begin(), lines.end(),
                             [&](const ItemLine& line) { return line.HasSameId(selection); });
    }
    RemoteAppListItem outside(selection.VisibleName(), selection.UniqueId());
    if (found == lines.end() && m_outside && *m_outside == outside) return;
    if (m_outside) change.goneOutside = std::move(m_outside);
    if (found == lines.end()) {
        m_outside = std::make_unique<RemoteAppListItem>(std::move(outside));
        m_selection = m_outside.get();
    } else {
        m_selection = m_items[static_cast<std::size_t>(found - lines.begin())].get();
    }
}
