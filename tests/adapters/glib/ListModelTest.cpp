// SPDX-License-Identifier: MIT

#include "adapters/glib/ListModelTest.h"

#include "adapters/glib/Loop.h"
#include "bus/BusSelection.h"
#include "partner/QuietLog.h"

ListModelTest::ListModelTest() {
    ForgetLog();
    applist::SelectBusAddress(m_bus.Address());
    applist_loop_attach(nullptr);  // for the service
}

ListModelTest::~ListModelTest() {
    g_clear_object(&m_model);
    EndService();
    applist::SelectBus(applist::BusKind::Automatic);
}

void ListModelTest::EndService() {
    m_list.ForgetPartnersItems();
    m_service.reset();
}

void ListModelTest::StartBoth() {
    StartService();
    StartModel();
    ASSERT_TRUE(BecomesEqual()) << Content();
}

bool ListModelTest::BecomesEqual() {
    return RunMainLoopUntil([this] {
        const guint count = g_list_model_get_n_items(G_LIST_MODEL(m_model));
        return !applist_model_get_loading(m_model) && applist_model_get_service_there(m_model) &&
               count == static_cast<guint>(m_list.GetItemsCount()) &&
               Content() == ContentOf(m_list);
    });
}

std::string ListModelTest::Content() const {
    std::string content;
    const guint count = g_list_model_get_n_items(G_LIST_MODEL(m_model));
    for (guint row = 0; row < count; ++row) {
        ApplistItem* const item = ItemAt(row);
        content += std::string(applist_item_get_name(item)) + "/" + applist_item_get_id(item) + " ";
    }
    ApplistItem* const selection = applist_model_get_selection(m_model);
    return content + "(" + (selection != nullptr ? applist_item_get_id(selection) : "") + ")";
}

ApplistItem* ListModelTest::ItemAt(guint row) const {
    ApplistItem* const item = APPLIST_ITEM(g_list_model_get_item(G_LIST_MODEL(m_model), row));
    g_object_unref(item);  // the model has another reference
    return item;
}
