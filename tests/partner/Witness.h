// SPDX-License-Identifier: MIT

// A listener of all four kinds that writes down what it is told, and may do something more.
//
// Threads: the model's. Lifetime: stops listening when it is destroyed, unless the model went
// first, which it is told through Forget.

#pragma once

#include <functional>
#include <string>
#include <vector>

#include "partner/RemoteAppListModel.h"

class Witness : public ItemSelectionListener,
                public ItemChangeListener,
                public ItemClickListener,
                public applist::ServiceListener {
public:
    explicit Witness(applist::RemoteAppListModel& model) : m_model(&model) {
        model.AddItemSelectionListener(this);
        model.AddItemChangeListener(this);
        model.AddItemClickedListener(this);
        model.AddServiceListener(this);
    }
    ~Witness() override { StopListening(); }
    Witness(const Witness&) = delete;
    Witness& operator=(const Witness&) = delete;

    void StopListening() {
        if (m_model == nullptr) return;
        m_model->RemoveItemSelectionListener(this);
        m_model->RemoveItemChangeListener(this);
        m_model->RemoveItemClickedListener(this);
        m_model->RemoveServiceListener(this);
        m_model = nullptr;
    }

    // The model is gone.
    void Forget() { m_model = nullptr; }

    // Returns what was told since the last time.
    std::vector<std::string> Take() { return std::exchange(m_told, std::vector<std::string>()); }

    void ItemSelected(AppListModel*) override { Tell("selected"); }
    void ItemChanged(AppListModel*) override { Tell("changed"); }
    void ItemClicked(AppListModel*) override { Tell("clicked"); }
    void ServiceChanged(applist::RemoteAppListModel* model) override {
        Tell(model->IsServiceThere() ? "there" : "gone");
    }

    // What happens after it was written down.
    std::function<void(const std::string& what)> m_onTold;
    std::vector<std::string> m_told;

private:
    void Tell(const std::string& what) {
        m_told.push_back(what);
        if (m_onTold) m_onTold(what);
    }

    applist::RemoteAppListModel* m_model;
};
