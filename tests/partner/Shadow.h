// SPDX-License-Identifier: MIT

// A partner's view of its model, kept up to date by what it is told alone: whatever the model shows
// and has not told of, or tells of and does not show, is wrong.
//
// Threads: the model's. Lifetime: goes after the model.

#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "partner/RemoteAppListModel.h"

class Shadow : public ItemSelectionListener,
               public ItemChangeListener,
               public applist::RowListener,
               public applist::ListReadListener,
               public applist::ServiceListener {
public:
    // `complain` is told what is wrong.
    Shadow(applist::RemoteAppListModel& model, std::function<void(const std::string&)> complain);
    Shadow(const Shadow&) = delete;
    Shadow& operator=(const Shadow&) = delete;

    void RowsChanged(applist::RemoteAppListModel* model,
                     const std::vector<applist::RowChange>& changes) override;
    void ItemChanged(AppListModel* model) override;
    void ItemSelected(AppListModel* model) override;
    void ListReadChanged(applist::RemoteAppListModel* model) override;
    void ServiceChanged(applist::RemoteAppListModel* model) override;

    void CheckThatItIsUpToDate();

    // Called whenever the model has told something.
    std::function<void()> m_onTold;

private:
    using Text = std::pair<std::string, std::string>;

    static Text TextOf(AppListItem* item);
    void Expect(bool holds, const std::string& otherwise) const;
    std::vector<Text> TextsOfTheModel() const;
    void TakeItems();
    void TakeSelection();
    void CheckThatTheOldItemsAreAlive() const;
    void CheckThatUnchangedItemsStayed(const std::vector<Text>& before,
                                       const std::vector<AppListItem*>& items) const;
    void Told() const;

    applist::RemoteAppListModel& m_model;
    const std::function<void(const std::string&)> m_complain;
    std::vector<AppListItem*> m_items;
    std::vector<Text> m_texts;
    std::vector<Text> m_rows;  // what a view shows
    AppListItem* m_selected = nullptr;
    Text m_selectedText;
    bool m_isRead = false;
    bool m_isThere = false;
};
