// SPDX-License-Identifier: MIT

// The fixture of the tests of ListModel: a private bus, a service on the test's own loop, which is
// Qt's, and the model that follows it.

#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>

#include "adapters/qt/ListModel.h"
#include "adapters/qt/QtLoop.h"
#include "applist/LocalAppListModel.h"
#include "bus/BusSelection.h"
#include "partner/EditableList.h"
#include "support/PrivateBus.h"

class ListModelTest : public ::testing::Test {
protected:
    // Without channels: a service that ends gives its partner a second to read the last of one, and
    // this partner is on the same thread.
    ListModelTest() {
        qputenv("APPLIST_DIRECT", "0");
        applist::SelectBusAddress(m_bus.Address());
    }

    void StartService() { m_service = std::make_unique<LocalAppListModel>(&m_list); }
    void EndService() {
        m_list.ForgetPartnersItems();
        m_service.reset();
    }

    void StartModel() { m_model = std::make_unique<applist::qt::ListModel>(); }

    // Both, when the model has read the list.
    void StartBoth() {
        StartService();
        StartModel();
        ASSERT_TRUE(IsReadSoon());
    }
    bool IsReadSoon() const {
        return RunQtUntil([this] { return m_model->isServiceThere() && !m_model->isLoading(); });
    }

    // "name/id name/id (id)": what the rows show, and the selected one in parentheses.
    std::string Content() const { return ContentOf(*m_model); }
    static std::string ContentOf(const QAbstractItemModel& model) {
        using Model = applist::qt::ListModel;
        QString content;
        QString selected;
        for (int row = 0; row < model.rowCount(); ++row) {
            const QModelIndex index = model.index(row, 0);
            const QString id = index.data(Model::IdRole).toString();
            content += index.data(Model::NameRole).toString() + "/" + id + " ";
            if (index.data(Model::SelectedRole).toBool()) selected += id;
        }
        return (content + "(" + selected + ")").toStdString();
    }

    ::testing::AssertionResult Shows(const std::string& content) const {
        if (RunQtUntil([&] { return Content() == content; })) {
            return ::testing::AssertionSuccess();
        }
        return ::testing::AssertionFailure() << "never shows " << content << ", but " << Content();
    }
    ::testing::AssertionResult ServiceHas(const std::string& content) {
        if (RunQtUntil([&] { return ::ContentOf(m_list) == content; })) {
            return ::testing::AssertionSuccess();
        }
        return ::testing::AssertionFailure()
               << "the service never has " << content << ", but " << ::ContentOf(m_list);
    }

    QtApplication m_application;
    PrivateBus m_bus{BusVariety{BusProgram::Daemon, BusLimits::Session}};
    EditableList m_list;
    std::unique_ptr<LocalAppListModel> m_service;
    std::unique_ptr<applist::qt::ListModel> m_model;
};
