#include "applist/LocalAppListModel.h"

#include <algorithm>
#include <sstream>

#include "applist/ApplistItemComparator.h"
#include "common/AppListLog.h"
#include "common/AppListRemoteControl.h"

using applist::logging::kDebug;
using std::string;
using std::vector;

namespace {

class DeleteAppListItem {
public:
    void operator()(RemoteAppListItem* item) const { delete item; }
};

}  // namespace

LocalAppListModel::LocalAppListModel(AppListModel* appList) : m_appList(appList) {
    m_appList->AddItemSelectionListener(this);
    m_appList->AddItemChangeListener(this);
    m_appList->AddItemClickedListener(this);
    m_IPC.RegisterOnMessage(this, &LocalAppListModel::OnMessageReceive);
    m_IPC.RegisterOnConnectionReady(this, &LocalAppListModel::OnConnectionReady);
}

// The wrapped model is told nothing of the items that go: its list is its owner's, and emptying one
// that is about to be published anew would flash an empty screen.
LocalAppListModel::~LocalAppListModel() {
    m_IPC.UnregisterOnMessage(this);
    m_IPC.UnregisterOnConnectionReady(this);
    m_appList->RemoveItemSelectionListener(this);
    m_appList->RemoveItemChangeListener(this);
    m_appList->RemoveItemClickedListener(this);
    std::for_each(m_items.begin(), m_items.end(), DeleteAppListItem());
    m_items.clear();
}

void LocalAppListModel::SetSelection(AppListItem* selection) {
    m_appList->SetSelection(selection);
}

AppListItem* LocalAppListModel::GetSelection() {
    return m_appList->GetSelection();
}

vector<AppListItem*> LocalAppListModel::GetAllItems() {
    return m_appList->GetAllItems();
}

void LocalAppListModel::SetClicked(AppListItem* clicked) {
    m_appList->SetClicked(clicked);
}

void LocalAppListModel::RemoveAllItems() {
    APPLIST_LOG(kDebug, "RemoveAllItems method is not implemented");
}

void LocalAppListModel::AddItems(const vector<AppListItem*>&) {
    APPLIST_LOG(kDebug, "AddItems method is not implemented");
}

void LocalAppListModel::AddItemAtEnd(AppListItem*) {
    APPLIST_LOG(kDebug, "AddItemAtEnd method is not implemented");
}

void LocalAppListModel::RemoveItem(AppListItem*) {
    APPLIST_LOG(kDebug, "RemoveItem method is not implemented");
}

void LocalAppListModel::ModifyItem(AppListItem*, AppListItem*) {
    APPLIST_LOG(kDebug, "ModifyItem method is not implemented");
}

// Not forwarded although its neighbours are, and kept so: existing callers expect the 0.
int LocalAppListModel::GetItemsCount() {
    APPLIST_LOG(kDebug, "GetItemsCount method is not implemented");
    return 0;
}

void LocalAppListModel::AddItemSelectionListener(ItemSelectionListener* listener) {
    m_appList->AddItemSelectionListener(listener);
}

void LocalAppListModel::RemoveItemSelectionListener(ItemSelectionListener* listener) {
    m_appList->RemoveItemSelectionListener(listener);
}

void LocalAppListModel::AddItemChangeListener(ItemChangeListener* listener) {
    m_appList->AddItemChangeListener(listener);
}

void LocalAppListModel::RemoveItemChangeListener(ItemChangeListener* listener) {
    m_appList->RemoveItemChangeListener(listener);
}

void LocalAppListModel::AddItemClickedListener(ItemClickListener* listener) {
    m_appList->AddItemClickedListener(listener);
}

void LocalAppListModel::RemoveItemClickedListener(ItemClickListener* listener) {
    m_appList->RemoveItemClickedListener(listener);
}

void LocalAppListModel::ItemSelected(AppListModel*) {
    APPLIST_LOG(kDebug, "Sending Item Selection Event to remote object");
    m_IPC.SendNotification(APPLIST_ITEM_SELECTION_EVENT, "");
}

void LocalAppListModel::ItemChanged(AppListModel*) {
    APPLIST_LOG(kDebug, "Sending Item Change Event to remote object");
    m_IPC.SendNotification(APPLIST_ITEM_CHANGE_EVENT, "");
}

void LocalAppListModel::ItemClicked(AppListModel*) {
    APPLIST_LOG(kDebug, "Sending Item Clicked Event to remote object");
    m_IPC.SendNotification(APPLIST_ITEM_CLICKED_EVENT, "");
}

void LocalAppListModel::OnConnectionReady(const string& partner) {
    APPLIST_LOG(kDebug, "Connection established with partner %s. Sending Local created event",
                partner.c_str());
    m_IPC.SendNotification(APPLIST_LOCAL_CREATED_EVENT, partner);
}

// A payload that is short or malformed is executed with what its reading left, for a fresh item two
// empty strings: stream states are tested for the batch alone, where they end the loop.
vector<char> LocalAppListModel::OnMessageReceive(int messageId, const vector<char>& messageData) {
    const string data(messageData.begin(), messageData.end());
    vector<char> result;

    switch (messageId) {
        case APPLIST_SET_SELECTION_FNC: {
            APPLIST_LOG(kDebug, "Remote call: SetSelection");
            std::istringstream in(data);
            RemoteAppListItem item;
            in >> item;
            APPLIST_LOG(kDebug, "Selected item name: %s, uniqueId: %s",
                        item.GetVisibleName().c_str(), item.GetUnigueId().c_str());
            m_appList->SetSelection(&item);
            break;
        }

        case APPLIST_GET_SELECTION_FNC: {
            // Three calls, not one kept pointer: the item belongs to the model, which promises it
            // only until it is called again.
            const string visibleName = m_appList->GetSelection()->GetVisibleName();
            const string uniqueId = m_appList->GetSelection()->GetUnigueId();
            APPLIST_LOG(kDebug, "Remote call: GetSelection. Selected item name: %s, uniqueId: %s",
                        visibleName.c_str(), uniqueId.c_str());
            const RemoteAppListItem item(*m_appList->GetSelection());
            std::ostringstream out;
            out << item;
            const string resultString = out.str();
            result.assign(resultString.begin(), resultString.end());
            break;
        }

        case APPLIST_GET_ALL_ITEMS_FNC: {
            APPLIST_LOG(kDebug, "Remote call: GetAllItems");
            const vector<AppListItem*> items = m_appList->GetAllItems();
            std::ostringstream out;
            for (auto itr = items.begin(); itr != items.end(); ++itr) {
                const RemoteAppListItem item(**itr);
                out << item;
            }
            const string resultString = out.str();
            result.assign(resultString.begin(), resultString.end());
            break;
        }

        case APPLIST_REMOVE_ALL_ITEMS_FNC: {
            APPLIST_LOG(kDebug, "Remote call: RemoveAllItems");
            // First the model, then the items: it must never hold a freed one.
            m_appList->RemoveAllItems();
            APPLIST_LOG(kDebug, "Removing items");
            std::for_each(m_items.begin(), m_items.end(), DeleteAppListItem());
            m_items.clear();
            break;
        }

        case APPLIST_ADD_ITEMS_FNC: {
            APPLIST_LOG(kDebug, "Remote call: AddItems");
            std::istringstream in(data);
            vector<AppListItem*> items;
            RemoteAppListItem remoteItem;
            // An item whose reading ran into the end of the data is half an item: it is dropped.
            while ((in >> remoteItem) && in.good()) {
                RemoteAppListItem* item = new RemoteAppListItem(remoteItem);
                items.push_back(item);
                m_items.push_back(item);
                APPLIST_LOG(kDebug, " - RemoteAppListItem name: %s, uniqueId: %s",
                            item->GetVisibleName().c_str(), item->GetUnigueId().c_str());
            }
            m_appList->AddItems(items);
            APPLIST_LOG(kDebug, "%d items has been added to Applist",
                        static_cast<int>(items.size()));
            break;
        }

        case APPLIST_ADD_ITEM_AT_END_FNC: {
            APPLIST_LOG(kDebug, "Remote call: AddItemAtEnd");
            std::istringstream in(data);
            RemoteAppListItem* item = new RemoteAppListItem();
            in >> *item;
            // Should the model throw, the item is lost, not freed: the model may have kept it.
            m_appList->AddItemAtEnd(item);
            m_items.push_back(item);
            break;
        }

        case APPLIST_SET_CLICKED_FNC: {
            // A partner cannot click: clicks travel only from the list's owner to the partner.
            APPLIST_LOG(kDebug, "Remote call: SetClicked. This function is not implemented");
            break;
        }

        case APPLIST_REMOVE_ITEM_FNC: {
            APPLIST_LOG(kDebug, "Remote call: RemoveItem");
            std::istringstream in(data);
            RemoteAppListItem item;
            in >> item;
            PrivateRemoveItem(item);
            break;
        }

        case APPLIST_MODIFY_ITEM_FNC: {
            APPLIST_LOG(kDebug, "Remote call: ModifyItem");
            std::istringstream in(data);
            RemoteAppListItem oldItem;
            RemoteAppListItem newItem;
            in >> oldItem >> newItem;
            const auto itr =
                std::find_if(m_items.begin(), m_items.end(), ApplistItemComparator(&newItem));
            if (itr == m_items.end()) {
                PrivateModifyItem(oldItem, newItem);
            } else {
                // The new id is taken, perhaps by the old item itself: replacing would leave two
                // items with one id, so the old one goes and the other stays as it is.
                PrivateRemoveItem(oldItem);
            }
            break;
        }

        default: APPLIST_LOG(kDebug, "Call to undefined function: %d", messageId); break;
    }
    return result;
}

// Here and below, in this order: log while both strings can be read, tell the model while the item
// is alive, delete, and only then touch the registry. A model that throws finds both untouched.
void LocalAppListModel::PrivateRemoveItem(RemoteAppListItem item) {
    const auto itr = std::find_if(m_items.begin(), m_items.end(), ApplistItemComparator(&item));
    if (itr == m_items.end()) return;
    APPLIST_LOG(kDebug, "Removing item name: %s, uniqueId: %s", (*itr)->GetVisibleName().c_str(),
                (*itr)->GetUnigueId().c_str());
    m_appList->RemoveItem(*itr);
    delete *itr;
    m_items.erase(itr);
}

void LocalAppListModel::PrivateModifyItem(RemoteAppListItem oldItem, RemoteAppListItem newItem) {
    const auto itr = std::find_if(m_items.begin(), m_items.end(), ApplistItemComparator(&oldItem));
    if (itr == m_items.end()) return;
    RemoteAppListItem* item = new RemoteAppListItem(newItem);
    APPLIST_LOG(kDebug, "Replacing item name: %s, uniqueId: %s with name: %s, uniqueId: %s",
                (*itr)->GetVisibleName().c_str(), (*itr)->GetUnigueId().c_str(),
                item->GetVisibleName().c_str(), item->GetUnigueId().c_str());
    m_appList->ModifyItem(*itr, item);
    delete *itr;
    *itr = item;
}
