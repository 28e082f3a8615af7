// SPDX-License-Identifier: MIT

#include "partner/Replica.h"

#include <algorithm>
#include <cstdint>
#include <string_view>
#include <utility>

#include "applist/ApplistItemComparator.h"
#include "partner/Pairing.h"
#include "partner/RowChanges.h"

namespace applist {

namespace {

using Items = std::vector<ReplicaItem::Owned>;
using Lines = std::vector<ItemText>;

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
    // Of the items that are there and of the lines. Once it is applied, only how many there are.
    Middle middle;
    Places places;                               // of the middle's lines, in the old middle
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
    if (m_findsRows && change.items) {
        m_allGone.front().count = m_items.size();
        change.rows.swap(m_allGone);
    }
    change.gone.swap(m_items);
    change.text.swap(m_text);
    if (m_selection == m_outside.get() && text == kNoSelection) return change;
    change.goneOutside = std::exchange(m_outside, std::move(m_spare));
    m_selection = m_outside.get();
    m_selectionText.assign(kNoSelection.begin(), kNoSelection.end());
    return change;
}

void Replica::FindRows(bool findsRows) {
    if (findsRows && m_allGone.empty()) m_allGone.push_back({RowChange::Kind::Removed, 0, 0});
    m_findsRows = findsRows;
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
    if (m_findsRows) FindRows(true);
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
    plan.middle = MiddleOf(
        m_items.size(), [this](std::size_t at) -> const ItemText& { return m_items[at]->Text(); },
        lines.size(), [&lines](std::size_t at) -> const ItemText& { return lines[at]; });
    if (m_findsRows) {
        PairWithRows(plan);
    } else {
        plan.places = PairEqual(plan.middle.before, plan.middle.now);
    }
    PlanItems(lines, plan);
    PlanSelection(lines, selection, plan);
    return plan;
}

// A row that is renamed is another item, in the place of the old one.
void Replica::PairWithRows(Plan& plan) {
    RowOrigins origins = RowOriginsIn(plan.middle);
    plan.change.rows = RowChangesOf(origins);
    plan.places = std::move(origins.was);
    for (std::size_t at = 0; at < plan.places.size(); ++at) {
        if (origins.isRenamed[at]) plan.places[at] = kNone;
    }
}

void Replica::PlanItems(const Lines& lines, Plan& plan) {
    const Middle& middle = plan.middle;
    plan.items.resize(lines.size());
    plan.change.items = middle.before.count > 0 || middle.now.count > 0;

    const auto came =
        static_cast<std::size_t>(std::count(plan.places.begin(), plan.places.end(), kNone));
    const std::size_t stay = plan.places.size() - came;
    plan.change.gone.reserve(middle.before.count - stay);
    ItemMaker maker(came);
    for (std::size_t at = middle.begin; at < middle.NowEnd(); ++at) {
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
    for (std::size_t at = middle.begin; at < middle.NowEnd(); ++at) {
        const std::uint32_t from = plan.places[at - middle.begin];
        if (from != kNone) keep(middle.begin + from, at);
    }
    for (std::size_t at = middle.NowEnd(); at < lines.size(); ++at) {
        keep(at - middle.NowEnd() + middle.BeforeEnd(), at);
    }
    for (std::size_t at = middle.begin; at < middle.BeforeEnd(); ++at) {
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
