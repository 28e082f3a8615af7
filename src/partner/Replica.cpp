// SPDX-License-Identifier: MIT

#include "partner/Replica.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <numeric>
#include <string_view>
#include <utility>

#include "applist/ApplistItemComparator.h"

namespace applist {

namespace {

using Items = std::vector<ReplicaItem::Owned>;
using Lines = std::vector<ItemText>;

// For each line of a range, the place of the old item that has this line, or kNone.
using Places = std::vector<std::uint32_t>;
constexpr std::uint32_t kNone = UINT32_MAX;

// What is left of the old list and the new one without the ends that they share: usually little, so
// that few lines have to be looked up.
struct Middle {
    std::size_t begin = 0;
    std::size_t oldEnd = 0;
    std::size_t newEnd = 0;
};

Middle MiddleOf(const Items& items, const Lines& lines) {
    Middle middle{0, items.size(), lines.size()};
    const std::size_t shorter = std::min(items.size(), lines.size());
    while (middle.begin < shorter && items[middle.begin]->Text() == lines[middle.begin]) {
        ++middle.begin;
    }
    while (middle.oldEnd > middle.begin && middle.newEnd > middle.begin &&
           items[middle.oldEnd - 1]->Text() == lines[middle.newEnd - 1]) {
        --middle.oldEnd;
        --middle.newEnd;
    }
    return middle;
}

// Finds the items from `begin` to `end` of `items` by their lines: each item once, and of equal
// ones the first one first. Taking an item out of its chain keeps even a list of equal items fast.
class ItemsByHash {
public:
    ItemsByHash(const Items& items, std::size_t begin, std::size_t end)
        : m_items(items), m_begin(begin), m_entries(end - begin) {
        while (m_first.size() < m_entries.size()) m_first.resize(2 * m_first.size());
        std::fill(m_first.begin(), m_first.end(), kNone);
        // Backwards, so that the first of equal items comes to stand at the front of its chain.
        for (std::size_t at = m_entries.size(); at-- > 0;) {
            const std::size_t hash = HashOf(items[begin + at]->Text());
            std::uint32_t& first = First(hash);
            m_entries[at] = {hash, first};
            first = static_cast<std::uint32_t>(at);
        }
    }

    // Returns the place of an item with this line and takes it out of the table; kNone when there
    // is none left; nothing when the chain is too long to look through.
    std::optional<std::uint32_t> Take(const ItemText& line) {
        if (m_entries.empty()) return kNone;
        const std::size_t hash = HashOf(line);
        int steps = 0;
        for (std::uint32_t* at = &First(hash); *at != kNone; at = &m_entries[*at].next) {
            const std::size_t place = m_begin + *at;
            if (m_entries[*at].hash == hash && m_items[place]->Text() == line) {
                *at = m_entries[*at].next;
                return static_cast<std::uint32_t>(place);
            }
            if (++steps == kMaxSteps) return std::nullopt;
        }
        return kNone;
    }

private:
    // By chance alone, different items do not make so long a chain in a list of any size.
    static constexpr int kMaxSteps = 16;

    static std::size_t HashOf(const ItemText& line) {
        return std::hash<std::string_view>()(line.Line());
    }

    struct Entry {
        std::size_t hash;
        std::uint32_t next;  // in the same chain
    };

    std::uint32_t& First(std::size_t hash) { return m_first[hash & (m_first.size() - 1)]; }

    const Items& m_items;
    const std::size_t m_begin;
    std::vector<Entry> m_entries;
    std::vector<std::uint32_t> m_first = std::vector<std::uint32_t>(1);
};

// Returns nothing when a chain is too long; see Find.
std::optional<Places> FindByHash(const Items& items, const Lines& lines, const Middle& middle) {
    ItemsByHash table(items, middle.begin, middle.oldEnd);
    Places places(middle.newEnd - middle.begin);
    for (std::size_t at = 0; at < places.size(); ++at) {
        const std::optional<std::uint32_t> place = table.Take(lines[middle.begin + at]);
        if (!place) return std::nullopt;
        places[at] = *place;
    }
    return places;
}

// The places from `begin` to `end`, ordered by their texts; places of equal texts stay in order.
template <typename TextAt>
Places Sorted(std::size_t begin, std::size_t end, TextAt textAt) {
    Places places(end - begin);
    std::iota(places.begin(), places.end(), static_cast<std::uint32_t>(begin));
    std::sort(places.begin(), places.end(), [&](std::uint32_t left, std::uint32_t right) {
        const int order = textAt(left).compare(textAt(right));
        return order != 0 ? order < 0 : left < right;
    });
    return places;
}

// Finds the same as FindByHash. Slower for most lists, but no list makes it much slower.
Places FindByOrder(const Items& items, const Lines& lines, const Middle& middle) {
    const auto oldText = [&](std::uint32_t at) { return items[at]->Text().Line(); };
    const auto newText = [&](std::uint32_t at) { return lines[at].Line(); };
    const Places before = Sorted(middle.begin, middle.oldEnd, oldText);
    const Places now = Sorted(middle.begin, middle.newEnd, newText);
    Places places(now.size(), kNone);
    auto next = before.begin();
    for (const std::uint32_t at : now) {
        while (next != before.end() && oldText(*next) < newText(at)) ++next;
        if (next == before.end()) break;
        if (oldText(*next) == newText(at)) places[at - middle.begin] = *next++;
    }
    return places;
}

// A hostile service can choose lines whose hashes are equal. It must not be able to decide how long
// its list keeps the partner busy.
Places Find(const Items& items, const Lines& lines, const Middle& middle) {
    std::optional<Places> places = FindByHash(items, lines, middle);
    return places ? std::move(*places) : FindByOrder(items, lines, middle);
}

// The place of the selected item in a list, or kNone. The service sends the selection as a copy of
// an item. An equal line is best; else the first item of the same id is meant, because it may have
// been renamed between the two replies.
template <typename LineAt>
std::uint32_t PlaceOf(const ItemText& selection, std::size_t count, LineAt lineAt) {
    std::uint32_t sameId = kNone;
    for (std::size_t at = 0; at < count; ++at) {
        const ItemText& line = lineAt(at);
        if (line == selection) return static_cast<std::uint32_t>(at);
        if (sameId == kNone && line.IdText() == selection.IdText())
            sameId = static_cast<std::uint32_t>(at);
    }
    return sameId;
}

constexpr std::string_view kNoSelection = "\t\n";  // the text of an empty item

// Splits all of `text` into items. Returns nothing when it ends in half an item, or holds anything
// that is not an item, or more items than `limit`: then none of it can be trusted. Reserves room
// for `expected` items.
std::optional<Lines> ReadLines(const std::vector<char>& text, std::size_t limit,
                               std::size_t expected) {
    Lines lines;
    lines.reserve(expected);
    std::string_view left(text.data(), text.size());
    while (!left.empty()) {
        const std::optional<ItemText> line = ItemText::Take(left);
        if (!line || lines.size() == limit) return std::nullopt;
        lines.push_back(*line);
    }
    return lines;
}

}  // namespace

// All that an update will change, with every allocation made, so that applying it cannot fail.
struct Replica::Plan {
    Middle middle;
    Places places;                               // of the middle's lines, in the old list
    Items items;                                 // the new list; null where an item stays
    std::uint32_t selected = kNone;              // in the new list
    std::unique_ptr<RemoteAppListItem> outside;  // null when selected, or when it stays
    Change change;
};

Replica::Replica()
    : m_selectionText(kNoSelection.begin(), kNoSelection.end()),
      m_outside(std::make_unique<RemoteAppListItem>()),
      m_spare(std::make_unique<RemoteAppListItem>()) {
    m_selection = m_outside.get();
}

std::optional<Replica::Change> Replica::Update(std::vector<char> list,
                                               const std::vector<char>& selection) {
    Change change;
    if (Take(std::move(list), selection, /* onlyIfWhole */ false, change) != Taken::Yes) {
        return std::nullopt;
    }
    return change;
}

Replica::Taken Replica::UpdateIfWhole(std::vector<char> list, const std::vector<char>& selection,
                                      Change& change) {
    return Take(std::move(list), selection, /* onlyIfWhole */ true, change);
}

Replica::Taken Replica::UpdateSelection(const std::vector<char>& selection, Change& change) {
    if (selection == m_selectionText) return Taken::Yes;
    const std::optional<Lines> selected = ReadLines(selection, 1, 1);
    if (!selected || selected->empty()) return Taken::NotUnderstood;
    const std::uint32_t place =
        PlaceOf(selected->front(), m_items.size(),
                [&](std::size_t at) -> const ItemText& { return m_items[at]->Text(); });
    if (place == kNone) return Taken::NotInTheList;
    std::vector<char> text = selection;
    change.selection = IsAnotherSelection(*m_items[place], false);
    change.goneOutside = std::move(m_outside);
    m_selection = m_items[place].get();
    m_selectionText = std::move(text);
    return Taken::Yes;
}

// What is shown of a service must go with it, whether or not there is any memory.
Replica::Change Replica::Clear() noexcept {
    Change change;
    change.items = !m_items.empty();
    const std::string_view text(m_selectionText.data(), m_selectionText.size());
    // Another id, or, when there were no items, another name.
    change.selection =
        (change.items ? text.substr(text.size() - kNoSelection.size()) : text) != kNoSelection;
    change.gone.swap(m_items);
    change.text.swap(m_text);
    if (m_selection == m_outside.get() && text == kNoSelection) return change;
    change.goneOutside = std::exchange(m_outside, std::move(m_spare));
    m_selection = m_outside.get();
    m_selectionText.assign(kNoSelection.begin(), kNoSelection.end());
    return change;
}

std::vector<AppListItem*> Replica::GetAllItems() const {
    std::vector<AppListItem*> items;
    items.reserve(m_items.size());
    for (const auto& item : m_items) items.push_back(item.get());
    return items;
}

Replica::Taken Replica::Take(std::vector<char> list, const std::vector<char>& selection,
                             bool onlyIfWhole, Change& change) {
    // Most reads find the list unchanged: then comparing its bytes is all the work there is.
    if (list == m_text && UpdateSelection(selection, change) == Taken::Yes) return Taken::Yes;
    const std::optional<Lines> lines = ReadLines(list, kMaxItems, m_items.size());
    const std::optional<Lines> selected = ReadLines(selection, 1, 1);
    if (!lines || !selected || selected->empty()) return Taken::NotUnderstood;
    if (!m_spare) m_spare = std::make_unique<RemoteAppListItem>();
    Plan plan = MakePlan(*lines, selected->front());
    if (onlyIfWhole && selection != m_selectionText && !IsWhole(plan, selection)) {
        return Taken::NotInTheList;
    }
    Apply(std::move(list), *lines, plan, selection);
    change = std::move(plan.change);
    return Taken::Yes;
}

bool Replica::IsWhole(const Plan& plan, const std::vector<char>& selection) {
    if (!plan.items.empty()) return plan.selected != kNone;
    return std::string_view(selection.data(), selection.size()) == kNoSelection;
}

void Replica::Apply(std::vector<char> text, const Lines& lines, Plan& plan,
                    std::vector<char> selectionText) noexcept {
    ApplyItems(lines, plan);
    ApplySelection(plan);
    m_selectionText = std::move(selectionText);
    plan.change.text = std::exchange(m_text, std::move(text));
}

Replica::Plan Replica::MakePlan(const Lines& lines, const ItemText& selection) const {
    Plan plan;
    PlanItems(lines, plan);
    PlanSelection(lines, selection, plan);
    return plan;
}

void Replica::PlanItems(const Lines& lines, Plan& plan) const {
    const Middle middle = plan.middle = MiddleOf(m_items, lines);
    plan.places = Find(m_items, lines, middle);
    plan.items.resize(lines.size());
    plan.change.items = middle.begin < middle.oldEnd || middle.begin < middle.newEnd;

    const auto came =
        static_cast<std::size_t>(std::count(plan.places.begin(), plan.places.end(), kNone));
    const std::size_t stay = plan.places.size() - came;
    plan.change.gone.reserve(middle.oldEnd - middle.begin - stay);
    ItemMaker maker(came);
    for (std::size_t at = middle.begin; at < middle.newEnd; ++at) {
        if (plan.places[at - middle.begin] == kNone) plan.items[at] = maker.Make(lines[at]);
    }
}

void Replica::PlanSelection(const Lines& lines, const ItemText& selection, Plan& plan) const {
    plan.selected = PlaceOf(selection, lines.size(),
                            [&](std::size_t at) -> const ItemText& { return lines[at]; });
    const bool isInside = plan.selected != kNone;
    RemoteAppListItem now((isInside ? lines[plan.selected] : selection).VisibleName(),
                          selection.UniqueId());
    plan.change.selection = IsAnotherSelection(now, plan.change.items);
    if (!isInside && (!m_outside || !(*m_outside == now))) {
        plan.outside = std::make_unique<RemoteAppListItem>(std::move(now));
    }
}

// When the selected item is renamed, that is a change of the items, and they are told of already.
// When the items did not change, a different name can only mean that a different item is selected.
bool Replica::IsAnotherSelection(AppListItem& now, bool itemsChanged) const {
    return !ApplistItemComparator(m_selection)(&now) ||
           (!itemsChanged && m_selection->GetVisibleName() != now.GetVisibleName());
}

// Items whose lines are unchanged keep their addresses. Their lines now lie in the new text, since
// the old one goes.
void Replica::ApplyItems(const Lines& lines, Plan& plan) noexcept {
    const Middle& middle = plan.middle;
    const auto keep = [&](std::size_t from, std::size_t to) {
        plan.items[to] = std::move(m_items[from]);
        plan.items[to]->Renew(lines[to]);
    };
    for (std::size_t at = 0; at < middle.begin; ++at) keep(at, at);
    for (std::size_t at = middle.begin; at < middle.newEnd; ++at) {
        const std::uint32_t from = plan.places[at - middle.begin];
        if (from != kNone) keep(from, at);
    }
    for (std::size_t at = middle.newEnd; at < lines.size(); ++at) {
        keep(at - middle.newEnd + middle.oldEnd, at);
    }
    for (std::size_t at = middle.begin; at < middle.oldEnd; ++at) {
        if (m_items[at]) plan.change.gone.push_back(std::move(m_items[at]));
    }
    m_items = std::move(plan.items);
}

void Replica::ApplySelection(Plan& plan) noexcept {
    if (plan.selected == kNone && !plan.outside) return;
    plan.change.goneOutside = std::exchange(m_outside, std::move(plan.outside));
    m_selection = m_outside.get();
    if (plan.selected != kNone) m_selection = m_items[plan.selected].get();
}

}  // namespace applist
