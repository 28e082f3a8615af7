// SPDX-License-Identifier: MIT

#include "apps/applistd/ApplicationList.h"

#include <algorithm>
#include <map>
#include <optional>
#include <unordered_set>
#include <utility>

#include "apps/applistd/Successor.h"

namespace applist::daemon {

namespace {

bool Holds(const std::vector<AppListItem*>& items, const AppListItem* item) {
    return std::find(items.begin(), items.end(), item) != items.end();
}

void Erase(std::vector<AppListItem*>& items, const AppListItem* item) {
    items.erase(std::remove(items.begin(), items.end(), item), items.end());
}

}  // namespace

void ApplicationList::SetOwnItems(std::vector<RemoteAppListItem> items) {
    AppListItem* const selected = m_selection;
    const std::vector<AppListItem*> before = m_items;

    // All the work that may run out of memory is done on copies first.

    std::unordered_set<const AppListItem*> wasOwn;
    for (const auto& own : m_own) wasOwn.insert(own.get());
    Counts ids;
    std::vector<Place> places = Reconcile(items, ids);

    std::vector<AppListItem*> listed;
    listed.reserve(places.size() + before.size());
    for (const Place& place : places) listed.push_back(place.Item());
    std::copy_if(before.begin(), before.end(), std::back_inserter(listed),
                 [&](AppListItem* item) { return wasOwn.count(item) == 0; });
    OwnItems own(places.size());

    // From here on nothing can fail: the list and the owners of its items change together.
    for (std::size_t at = 0; at < places.size(); ++at) own[at] = places[at].Take();
    // After the swap `own` holds the items that are gone. They live until this function returns, as
    // listeners may still ask for what they showed.
    m_own.swap(own);
    m_items.swap(listed);
    m_ownIds.swap(ids);
    if (m_items == before) return;

    if (!Holds(m_items, m_selection)) SelectSuccessor(before);
    TellChanged(selected);
}

std::vector<ApplicationList::Place> ApplicationList::Reconcile(
    std::vector<RemoteAppListItem>& items, Counts& ids) {
    // A multimap, as ids may repeat; equal ones are paired in the order in which they stand.
    std::multimap<std::string, std::unique_ptr<RemoteAppListItem>*> present;
    for (auto& own : m_own) present.emplace(own->GetUnigueId(), &own);

    std::vector<Place> now;
    for (RemoteAppListItem& item : items) {
        const std::string id = item.GetUnigueId();
        const std::size_t occurrence = ++ids[id];
        const auto at = present.lower_bound(id);
        const bool isPresent = at != present.end() && at->first == id;
        // Known from the call before but no longer in the list: somebody removed it, and it must
        // not come back only because another application was installed.
        if (!isPresent && occurrence <= KnownCount(id)) continue;
        if (isPresent && (*at->second)->GetVisibleName() == item.GetVisibleName()) {
            now.push_back({at->second, nullptr});
        } else {
            now.push_back({nullptr, std::make_unique<RemoteAppListItem>(item)});
        }
        if (isPresent) present.erase(at);
    }
    return now;
}

std::size_t ApplicationList::KnownCount(const std::string& id) const {
    const auto known = m_ownIds.find(id);
    return known == m_ownIds.end() ? 0 : known->second;
}

void ApplicationList::SetSelection(AppListItem* selection) {
    const auto at = Find(selection);
    if (at == m_items.end() || *at == m_selection) return;
    m_selection = *at;
    m_selectionListeners.ForEach([this](auto* listener) { listener->ItemSelected(this); });
}

AppListItem* ApplicationList::GetSelection() {
    return m_selection;
}

std::vector<AppListItem*> ApplicationList::GetAllItems() {
    return m_items;
}

void ApplicationList::SetClicked(AppListItem* clicked) {
    if (Find(clicked) == m_items.end()) return;
    m_clickListeners.ForEach([this](auto* listener) { listener->ItemClicked(this); });
}

void ApplicationList::RemoveAllItems() {
    if (m_items.empty()) return;
    AppListItem* const selected = m_selection;
    // Kept until the listeners have been told, like every `gone` below.
    const OwnItems gone = std::move(m_own);
    m_own.clear();
    m_items.clear();
    SelectPlace(0);
    TellChanged(selected);
}

void ApplicationList::AddItems(const std::vector<AppListItem*>& items) {
    AppListItem* const selected = m_selection;
    const std::size_t before = m_items.size();
    // Half of them must not be in the list when memory runs out.
    if (m_items.capacity() - before < items.size()) {
        m_items.reserve(std::max(before + items.size(), 2 * before));
    }
    std::copy_if(items.begin(), items.end(), std::back_inserter(m_items),
                 [](AppListItem* item) { return item != nullptr; });
    if (m_items.size() == before) return;
    // There must always be a selection; until now it was the empty item.
    if (before == 0) SelectPlace(0);
    TellChanged(selected);
}

void ApplicationList::AddItemAtEnd(AppListItem* item) {
    AddItems({item});
}

void ApplicationList::RemoveItem(AppListItem* item) {
    const auto at = Find(item);
    if (at == m_items.end()) return;
    AppListItem* const selected = m_selection;
    AppListItem* const found = *at;
    const auto place = static_cast<std::size_t>(at - m_items.begin());

    const std::unique_ptr<RemoteAppListItem> gone = Disown(found);
    // An object that was added twice is taken out twice: its owner may free it as soon as this
    // returns, and the list must not keep the second pointer.
    Erase(m_items, found);
    if (m_selection == found) SelectPlace(place);
    TellChanged(selected);
}

void ApplicationList::ModifyItem(AppListItem* oldItem, AppListItem* newItem) {
    const auto at = Find(oldItem);
    if (at == m_items.end() || newItem == nullptr || *at == newItem) return;
    AppListItem* const selected = m_selection;
    AppListItem* const found = *at;

    // Every occurrence, for the reason given in RemoveItem.
    const std::unique_ptr<RemoteAppListItem> gone = Disown(found);
    std::replace(m_items.begin(), m_items.end(), found, newItem);
    if (m_selection == found) m_selection = newItem;
    TellChanged(selected);
}

int ApplicationList::GetItemsCount() {
    return static_cast<int>(m_items.size());
}

void ApplicationList::AddItemSelectionListener(ItemSelectionListener* listener) {
    m_selectionListeners.Add(listener);
}

void ApplicationList::RemoveItemSelectionListener(ItemSelectionListener* listener) {
    m_selectionListeners.Remove(listener);
}

void ApplicationList::AddItemChangeListener(ItemChangeListener* listener) {
    m_changeListeners.Add(listener);
}

void ApplicationList::RemoveItemChangeListener(ItemChangeListener* listener) {
    m_changeListeners.Remove(listener);
}

void ApplicationList::AddItemClickedListener(ItemClickListener* listener) {
    m_clickListeners.Add(listener);
}

void ApplicationList::RemoveItemClickedListener(ItemClickListener* listener) {
    m_clickListeners.Remove(listener);
}

std::vector<AppListItem*>::iterator ApplicationList::Find(AppListItem* item) {
    if (item == nullptr) return m_items.end();
    // By object first, then by id: where ids repeat, the object that the caller is about to free
    // must be the one that leaves.
    const auto at = std::find(m_items.begin(), m_items.end(), item);
    if (at != m_items.end()) return at;
    const std::string id = item->GetUnigueId();
    return std::find_if(m_items.begin(), m_items.end(),
                        [&](AppListItem* candidate) { return candidate->GetUnigueId() == id; });
}

std::unique_ptr<RemoteAppListItem> ApplicationList::Disown(AppListItem* item) {
    const auto at = std::find_if(m_own.begin(), m_own.end(),
                                 [item](const auto& own) { return own.get() == item; });
    if (at == m_own.end()) return nullptr;
    std::unique_ptr<RemoteAppListItem> gone = std::move(*at);
    m_own.erase(at);
    return gone;
}

void ApplicationList::SelectPlace(std::size_t place) {
    if (m_items.empty()) {
        m_selection = &m_nothing;
    } else {
        m_selection = m_items[std::min(place, m_items.size() - 1)];
    }
}

void ApplicationList::SelectSuccessor(const std::vector<AppListItem*>& before) {
    if (before.empty()) return SelectPlace(0);

    // m_selection is gone from the list but not freed yet, so it can still be asked for its id.
    const std::string id = m_selection->GetUnigueId();
    const auto renamed = std::find_if(m_own.begin(), m_own.end(),
                                      [&](const auto& own) { return own->GetUnigueId() == id; });
    if (renamed != m_own.end()) {
        m_selection = renamed->get();
        return;
    }
    const std::optional<AppListItem*> next = SuccessorOf(m_selection, before, m_items);
    if (!next) return SelectPlace(m_items.size());
    m_selection = *next;
}

void ApplicationList::TellChanged(const AppListItem* selected) {
    // Compared before anybody is told: a change listener may move the selection, and that call then
    // raises its own event.
    const bool selectionMoved = m_selection != selected;
    m_changeListeners.ForEach([this](auto* listener) { listener->ItemChanged(this); });
    if (!selectionMoved) return;
    m_selectionListeners.ForEach([this](auto* listener) { listener->ItemSelected(this); });
}

}  // namespace applist::daemon
