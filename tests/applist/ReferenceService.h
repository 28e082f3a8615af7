// SPDX-License-Identifier: MIT

// A second service, written from the protocol's text alone and as plainly as it can be: no streams,
// no pointers, no classes of the first. The first must do exactly what it does, event by event.
//
// It stands for the service together with the tests' model around which it is built, and writes
// the events of both in the journal's form.
//
// Threads: one. Lifetime: a plain value.

#pragma once

#include <string>
#include <vector>

class ReferenceService {
public:
    explicit ReferenceService(bool modelRaisesEvents);

    // What the partner does. Message returns the reply.
    std::string Message(const std::string& buffer);
    void Notification(const std::string& buffer);
    void Connection(bool state, const std::string& partner);

    // What the application does to its own model.
    void AddOwn(const std::string& name, const std::string& id);
    void RaiseSelected();
    void RaiseChanged();
    void RaiseClicked();

    void Destroy();

    // The events since the last call.
    std::string TakeEvents();

    struct Item {
        int number;  // 0: never passed to the model by the service
        std::string name;
        std::string id;
    };

    const std::vector<Item>& Model() const { return m_model; }
    const std::vector<Item>& Received() const { return m_received; }
    Item Selected() const;

    // The grammar of an item's text: one line without its terminator, and one with it.
    static bool ReadLine(const std::string& line, Item& item);
    static std::string WriteItem(const Item& item);

private:
    // The text of items, read from the front; once bad, it stays bad.
    struct ItemText {
        std::string rest;
        bool isBad;
    };

    static bool ReadItem(ItemText& text, Item& item);
    static std::string Described(const Item& item);

    void Event(const std::string& text) { m_events += text + "\n"; }
    void Log(const std::string& function, const std::string& message);
    void DebugCall(const std::string& message) { Log("debug OnMessageReceive", message); }
    bool TakeId(const std::string& function, std::string& buffer, int& id);
    std::string Execute(int id, const std::string& payload);

    void SetSelection(ItemText text);
    std::string GetSelection();
    std::string GetAllItems();
    void RemoveAllItems();
    void AddItems(ItemText text);
    void AddItemAtEnd(ItemText text);
    void ModifyItem(ItemText text);
    void Remove(const std::string& id);
    void Replace(const std::string& id, Item replacement);

    int FindReceived(const std::string& id) const;
    std::string ReceivedNumbers() const;
    void ListChanged();
    void DropFromModel(int number);
    void DeleteAllReceived();

    bool m_modelRaisesEvents;
    int m_newest = 0;
    std::vector<Item> m_model;
    std::vector<Item> m_received;
    int m_selected = -1;  // position in m_model; -1: the empty item
    std::string m_events;
};
