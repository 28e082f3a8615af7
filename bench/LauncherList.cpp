// SPDX-License-Identifier: MIT

#include <string>
#include <unordered_map>
#include <vector>

#include "BareBus.h"
#include "LauncherProcesses.h"
#include "SimpleModel.h"
#include "applist/LocalAppListModel.h"

namespace bench {

namespace {

class LauncherList : public SimpleModel {
public:
    explicit LauncherList(const LauncherPlace& place)
        : SimpleModel(SampleItems(place.items)),
          m_teller(LauncherPart::List, place.eventsFd),
          m_items(SimpleModel::GetAllItems()),
          m_selected(place.FirstRow()) {
        for (std::size_t row = 0; row < m_items.size(); ++row) {
            m_rows[m_items[row]->GetUnigueId()] = row;
        }
        m_teller.Tell(LauncherEvent::Kind::Selected, static_cast<std::int64_t>(m_selected));
    }

    void SetSelection(AppListItem* selection) override {
        m_selected = m_rows.at(selection->GetUnigueId());
        m_teller.Tell(LauncherEvent::Kind::Selected, static_cast<std::int64_t>(m_selected));
        if (m_listener != nullptr) m_listener->ItemSelected(this);
    }
    AppListItem* GetSelection() override { return m_items[m_selected]; }

    void AddItemSelectionListener(ItemSelectionListener* listener) override {
        m_listener = listener;
    }
    void RemoveItemSelectionListener(ItemSelectionListener*) override { m_listener = nullptr; }

private:
    const LauncherTeller m_teller;
    const std::vector<AppListItem*> m_items;
    std::unordered_map<std::string, std::size_t> m_rows;
    std::size_t m_selected;
    ItemSelectionListener* m_listener = nullptr;
};

}  // namespace

void RunLauncherList(const LauncherPlace& place, int readyFd) {
    Choose(place.address, place.way);
    LauncherList model(place);
    const LocalAppListModel service(&model);
    ServeUntilKilled(readyFd);
}

}  // namespace bench
