// SPDX-License-Identifier: MIT

#include "applist/ReferenceService.h"

#include <cstddef>

#include "support/RecordingJournal.h"

using recording::OneLine;
using std::string;

namespace {

// What is left of a string that a log prints as a C string.
string Printed(const string& bytes) {
    return bytes.substr(0, bytes.find('\0'));
}

string Named(const string& name, const string& id) {
    return "name: " + Printed(name) + ", uniqueId: " + Printed(id);
}

}  // namespace

ReferenceService::ReferenceService(bool modelRaisesEvents)
    : m_modelRaisesEvents(modelRaisesEvents) {}

string ReferenceService::Message(const string& buffer) {
    Log("debug HandleMessage", "IPC HandleMessage");
    string payload = buffer;
    int id = 0;
    if (!TakeId("HandleMessage", payload, id)) return "";
    return Execute(id, payload);
}

void ReferenceService::Notification(const string& buffer) {
    Log("debug HandleNotification", "IPC HandleNotification");
    string payload = buffer;
    int id = 0;
    if (!TakeId("HandleNotification", payload, id)) return;
    Log("info HandleNotification", "callbackNotificationObject object is NULL");
}

void ReferenceService::Connection(bool state, const string& partner) {
    Log("debug HandleConnectionReady",
        string("HandleConnectionReady state=") + (state ? "1" : "0") + ", partner=" + partner);
    if (!state) return;
    Log("debug HandleConnectionReady", "Calling connection ready callback");
    Log("debug OnConnectionReady",
        "Connection established with partner " + partner + ". Sending Local created event");
    Event(partner.empty() ? "send 04 00 00 00" : "send 04 00 00 00 to " + partner);
}

void ReferenceService::AddOwn(const string& name, const string& id) {
    m_model.push_back(Item{0, name, id});
}

void ReferenceService::RaiseSelected() {
    Log("debug ItemSelected", "Sending Item Selection Event to remote object");
    Event("send 02 00 00 00");
}

void ReferenceService::RaiseChanged() {
    Log("debug ItemChanged", "Sending Item Change Event to remote object");
    Event("send 01 00 00 00");
}

void ReferenceService::RaiseClicked() {
    Log("debug ItemClicked", "Sending Item Clicked Event to remote object");
    Event("send 03 00 00 00");
}

void ReferenceService::Destroy() {
    Log("info UnregisterOnMessage", "Unregistered callbackMessageObject");
    Log("info UnregisterOnConnectionReady", "Unregistered connectionReadyCallbackObject");
    Event("model RemoveItemSelectionListener");
    Event("model RemoveItemChangeListener");
    Event("model RemoveItemClickedListener");
    DeleteAllReceived();
    Event("transport closes Applist");
}

string ReferenceService::TakeEvents() {
    string events;
    events.swap(m_events);
    return events;
}

ReferenceService::Item ReferenceService::Selected() const {
    if (m_selected < 0) return Item{0, "", ""};
    return m_model[static_cast<std::size_t>(m_selected)];
}

// One line is one item; what does not end with a line feed is none.
bool ReferenceService::ReadItem(ItemText& text, Item& item) {
    if (text.isBad) return false;
    const std::size_t end = text.rest.find('\n');
    if (end == string::npos || !ReadLine(text.rest.substr(0, end), item)) {
        text.isBad = true;
        return false;
    }
    text.rest = text.rest.substr(end + 1);
    return true;
}

bool ReferenceService::ReadLine(const string& line, Item& item) {
    string fields[2];
    int field = 0;
    bool afterBackslash = false;
    for (const char c : line) {
        if (afterBackslash) {
            if (c != '\\' && c != 't' && c != 'n') return false;
            fields[field] += c == 't' ? '\t' : c == 'n' ? '\n' : '\\';
            afterBackslash = false;
        } else if (c == '\\') {
            afterBackslash = true;
        } else if (c == '\t') {
            if (++field == 2) return false;
        } else {
            fields[field] += c;
        }
    }
    if (afterBackslash || field != 1) return false;
    item.name = fields[0];
    item.id = fields[1];
    return true;
}

string ReferenceService::WriteItem(const Item& item) {
    string text;
    for (const string* bytes : {&item.name, &item.id}) {
        for (const char c : *bytes) {
            if (c == '\\') {
                text += "\\\\";
            } else if (c == '\t') {
                text += "\\t";
            } else if (c == '\n') {
                text += "\\n";
            } else {
                text += c;
            }
        }
        text += bytes == &item.name ? '\t' : '\n';
    }
    return text;
}

string ReferenceService::Described(const Item& item) {
    return OneLine(item.name + "/" + item.id);
}

void ReferenceService::Log(const string& function, const string& message) {
    Event(function + ": " + OneLine(message));
}

bool ReferenceService::TakeId(const string& function, string& buffer, int& id) {
    if (buffer.size() < 4) {
        Log("error " + function, "Data corrupted. Does not contain message id.");
        return false;
    }
    unsigned value = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        const unsigned char byte = static_cast<unsigned char>(buffer[buffer.size() - 4 + i]);
        value |= static_cast<unsigned>(byte) << (8 * i);
    }
    id = static_cast<int>(value);
    buffer.resize(buffer.size() - 4);
    return true;
}

string ReferenceService::Execute(int id, const string& payload) {
    const ItemText text{payload, false};
    switch (id) {
        case 2000: SetSelection(text); return "";
        case 2001: return GetSelection();
        case 2002: return GetAllItems();
        case 2003: RemoveAllItems(); return "";
        case 2004: AddItems(text); return "";
        case 2005: AddItemAtEnd(text); return "";
        case 2006:
            DebugCall("Remote call: SetClicked. This function is not implemented");
            return "";
        case 2007: {
            DebugCall("Remote call: RemoveItem");
            ItemText reading = text;
            Item item{0, "", ""};
            ReadItem(reading, item);
            Remove(item.id);
            return "";
        }
        case 2008: ModifyItem(text); return "";
        default: DebugCall("Call to undefined function: " + std::to_string(id)); return "";
    }
}

void ReferenceService::SetSelection(ItemText text) {
    DebugCall("Remote call: SetSelection");
    Item wanted{0, "", ""};
    ReadItem(text, wanted);
    DebugCall("Selected item " + Named(wanted.name, wanted.id));
    Event("model SetSelection " + Described(wanted));
    for (std::size_t at = 0; at < m_model.size(); ++at) {
        if (m_model[at].id != wanted.id) continue;
        m_selected = static_cast<int>(at);
        if (m_modelRaisesEvents) RaiseSelected();
        return;
    }
}

string ReferenceService::GetSelection() {
    const Item selected = Selected();
    Event("model GetSelection");
    Event("model GetSelection");
    DebugCall("Remote call: GetSelection. Selected item " + Named(selected.name, selected.id));
    Event("model GetSelection");
    return WriteItem(selected);
}

string ReferenceService::GetAllItems() {
    DebugCall("Remote call: GetAllItems");
    Event("model GetAllItems");
    string reply;
    for (const Item& item : m_model) reply += WriteItem(item);
    return reply;
}

void ReferenceService::RemoveAllItems() {
    DebugCall("Remote call: RemoveAllItems");
    Event("model RemoveAllItems");
    m_model.clear();
    m_selected = -1;
    ListChanged();
    DebugCall("Removing items");
    DeleteAllReceived();
}

void ReferenceService::AddItems(ItemText text) {
    DebugCall("Remote call: AddItems");
    std::vector<Item> added;
    Item item{0, "", ""};
    string described;
    while (ReadItem(text, item)) {
        DebugCall(" - RemoteAppListItem " + Named(item.name, item.id));
        item.number = ++m_newest;
        described += (described.empty() ? " #" : ", #") + std::to_string(item.number) + " " +
                     Described(item);
        added.push_back(item);
    }
    Event("model AddItems" + described);
    m_model.insert(m_model.end(), added.begin(), added.end());
    m_received.insert(m_received.end(), added.begin(), added.end());
    ListChanged();
    DebugCall(std::to_string(added.size()) + " items has been added to Applist");
}

void ReferenceService::AddItemAtEnd(ItemText text) {
    DebugCall("Remote call: AddItemAtEnd");
    Item item{++m_newest, "", ""};
    ReadItem(text, item);
    Event("model AddItemAtEnd #" + std::to_string(item.number) + " " + Described(item));
    m_model.push_back(item);
    ListChanged();
    m_received.push_back(item);
}

void ReferenceService::ModifyItem(ItemText text) {
    DebugCall("Remote call: ModifyItem");
    Item oldItem{0, "", ""};
    Item newItem{0, "", ""};
    ReadItem(text, oldItem);
    ReadItem(text, newItem);
    if (FindReceived(newItem.id) < 0) {
        Replace(oldItem.id, newItem);
    } else {
        Remove(oldItem.id);
    }
}

void ReferenceService::Remove(const string& id) {
    const int at = FindReceived(id);
    if (at < 0) return;
    const Item gone = m_received[static_cast<std::size_t>(at)];
    const string number = "#" + std::to_string(gone.number);
    Log("debug PrivateRemoveItem", "Removing item " + Named(gone.name, gone.id));
    Event("model RemoveItem " + number + " " + Described(gone));
    DropFromModel(gone.number);
    ListChanged();
    Event("delete " + number + " of " + ReceivedNumbers());
    m_received.erase(m_received.begin() + at);
}

void ReferenceService::Replace(const string& id, Item replacement) {
    const int at = FindReceived(id);
    if (at < 0) return;
    const Item gone = m_received[static_cast<std::size_t>(at)];
    replacement.number = ++m_newest;
    Log("debug PrivateModifyItem", "Replacing item " + Named(gone.name, gone.id) + " with " +
                                       Named(replacement.name, replacement.id));
    const string number = "#" + std::to_string(gone.number);
    Event("model ModifyItem " + number + " " + Described(gone) + " by #" +
          std::to_string(replacement.number) + " " + Described(replacement));
    for (std::size_t position = 0; position < m_model.size(); ++position) {
        if (m_model[position].number != gone.number) continue;
        m_model[position] = replacement;
        if (m_selected == static_cast<int>(position)) m_selected = -1;
    }
    ListChanged();
    Event("delete " + number + " of " + ReceivedNumbers());
    m_received[static_cast<std::size_t>(at)] = replacement;
}

int ReferenceService::FindReceived(const string& id) const {
    for (std::size_t at = 0; at < m_received.size(); ++at) {
        if (m_received[at].id == id) return static_cast<int>(at);
    }
    return -1;
}

string ReferenceService::ReceivedNumbers() const {
    string numbers;
    for (const Item& item : m_received) {
        numbers += (numbers.empty() ? "#" : " #") + std::to_string(item.number);
    }
    return numbers;
}

void ReferenceService::ListChanged() {
    if (m_modelRaisesEvents) RaiseChanged();
}

void ReferenceService::DropFromModel(int number) {
    for (std::size_t at = 0; at < m_model.size(); ++at) {
        if (m_model[at].number != number) continue;
        m_model.erase(m_model.begin() + static_cast<std::ptrdiff_t>(at));
        const int position = static_cast<int>(at);
        if (m_selected == position) m_selected = -1;
        if (m_selected > position) --m_selected;
        return;
    }
}

void ReferenceService::DeleteAllReceived() {
    const string all = ReceivedNumbers();
    for (const Item& item : m_received) {
        Event("delete #" + std::to_string(item.number) + " of " + all);
    }
    m_received.clear();
}
