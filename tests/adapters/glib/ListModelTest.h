// SPDX-License-Identifier: MIT

// The fixture of the tests of ApplistModel: a private bus, a service on it, and the model, in one
// program whose main loop is GLib's.

#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "adapters/glib/ApplistModel.h"
#include "adapters/glib/RunMainLoop.h"
#include "applist/LocalAppListModel.h"
#include "partner/EditableList.h"
#include "support/PrivateBus.h"

class ListModelTest : public ::testing::Test {
protected:
    ListModelTest();
    ~ListModelTest() override;

    void StartService() { m_service = std::make_unique<LocalAppListModel>(&m_list); }
    void EndService();
    void StartModel() { m_model = applist_model_new(); }

    // Starts both, and waits until the list is shown.
    void StartBoth();

    // Waits until the model shows what the service's list holds.
    bool BecomesEqual();

    // Items in order, as "name/id ", and "(id)" of the selection; as ContentOf writes a list.
    std::string Content() const;

    ApplistItem* ItemAt(guint row) const;

    PrivateBus m_bus{{BusProgram::Daemon, BusLimits::Session}};
    EditableList m_list;
    std::unique_ptr<LocalAppListModel> m_service;
    ApplistModel* m_model = nullptr;
};
