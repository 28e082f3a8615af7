// SPDX-License-Identifier: MIT

#include "partner/Shadow.h"

#include <algorithm>

#include "partner/ApplyRowChange.h"

using applist::RowChange;

Shadow::Shadow(applist::RemoteAppListModel& model, std::function<void(const std::string&)> complain)
    : m_model(model), m_complain(std::move(complain)) {
    model.AddItemChangeListener(this);
    model.AddItemSelectionListener(this);
    model.AddServiceListener(this);
    model.AddRowListener(this);
    model.AddListReadListener(this);
    TakeItems();
    m_rows = m_texts;
    TakeSelection();
}

void Shadow::RowsChanged(applist::RemoteAppListModel*, const std::vector<RowChange>& changes) {
    Expect(m_rows == m_texts, "told of rows before the items that they were");
    const std::vector<Text> now = TextsOfTheModel();
    for (const RowChange& change : changes) ApplyRowChange(change, now, m_rows);
    Expect(m_rows == now, "the rows' changes do not make the new list");
    Told();
}

void Shadow::ItemChanged(AppListModel*) {
    CheckThatTheOldItemsAreAlive();
    const std::vector<Text> before = m_texts;
    const std::vector<AppListItem*> items = m_items;
    TakeItems();
    Expect(before != m_texts, "told of a change of the items for nothing");
    Expect(m_rows == m_texts, "told of a change of the items, and not of the rows");
    CheckThatUnchangedItemsStayed(before, items);
    // The item that is selected may have another name or be another object now.
    if (TextOf(m_model.GetSelection()).second == m_selectedText.second) TakeSelection();
    Told();
}

void Shadow::ItemSelected(AppListModel*) {
    Expect(m_selectedText == TextOf(m_selected), "what was selected died before this was told");
    Expect(m_selectedText != TextOf(m_model.GetSelection()), "told of the selection for nothing");
    TakeSelection();
    Told();
}

void Shadow::ListReadChanged(applist::RemoteAppListModel*) {
    Expect(m_isRead != m_model.IsListRead(), "told for nothing whether the list is read");
    m_isRead = m_model.IsListRead();
    Expect(m_isRead || m_texts.empty(), "items of a list that is not read");
    Told();
}

void Shadow::ServiceChanged(applist::RemoteAppListModel*) {
    Expect(m_isThere != m_model.IsServiceThere(), "told of the service for nothing");
    m_isThere = m_model.IsServiceThere();
    Told();
}

void Shadow::CheckThatItIsUpToDate() {
    const std::vector<AppListItem*> items = m_items;
    const std::vector<Text> texts = m_texts;
    TakeItems();
    Expect(m_texts == texts, "not told of a change of the items");
    Expect(m_texts == m_rows, "not told of a change of the rows");
    Expect(m_items == items, "an item was replaced without a word");
    Expect(TextOf(m_model.GetSelection()) == m_selectedText, "not told of the selection");
    Expect(m_model.GetSelection() == m_selected, "the selection was replaced without a word");
    Expect(m_model.IsListRead() == m_isRead, "not told whether the list is read");
    Expect(m_model.IsServiceThere() == m_isThere, "not told of the service");
}

Shadow::Text Shadow::TextOf(AppListItem* item) {
    return {item->GetVisibleName(), item->GetUnigueId()};
}

void Shadow::Expect(bool holds, const std::string& otherwise) const {
    if (!holds) m_complain(otherwise);
}

std::vector<Shadow::Text> Shadow::TextsOfTheModel() const {
    std::vector<Text> texts;
    for (AppListItem* item : m_model.GetAllItems()) texts.push_back(TextOf(item));
    return texts;
}

void Shadow::TakeItems() {
    m_items = m_model.GetAllItems();
    m_texts = TextsOfTheModel();
}

void Shadow::TakeSelection() {
    m_selected = m_model.GetSelection();
    m_selectedText = TextOf(m_selected);
}

void Shadow::CheckThatTheOldItemsAreAlive() const {
    for (std::size_t at = 0; at < m_items.size(); ++at) {
        Expect(m_texts[at] == TextOf(m_items[at]), m_texts[at].first + " died before it was told");
    }
}

void Shadow::CheckThatUnchangedItemsStayed(const std::vector<Text>& before,
                                           const std::vector<AppListItem*>& items) const {
    for (std::size_t at = 0; at < before.size(); ++at) {
        if (std::count(before.begin(), before.end(), before[at]) != 1 ||
            std::count(m_texts.begin(), m_texts.end(), before[at]) != 1) {
            continue;
        }
        const auto now = std::find(m_texts.begin(), m_texts.end(), before[at]);
        Expect(items[at] == m_items[static_cast<std::size_t>(now - m_texts.begin())],
               before[at].first + " did not change, but its object did");
    }
}

void Shadow::Told() const {
    if (m_onTold) m_onTold();
}
