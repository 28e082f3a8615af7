// SPDX-License-Identifier: MIT

// One journal for everything that the service does to the world: the lines that it logs, its calls
// on the wrapped model, what it hands to the transport, the items that it frees. One journal and
// not four, so that a test asserts the order of all of them at once, as text:
//
//     debug OnMessageReceive: Remote call: AddItemAtEnd
//     model AddItemAtEnd #1 Maps/maps
//
// An item is called #n: the n-th that the model was given since the journal was last restarted.
//
// Threads: one, like the service. Lifetime: the journal is the process's; each test restarts it.

#pragma once

#include <initializer_list>
#include <string>
#include <unordered_map>

namespace recording {

class Journal {
public:
    static Journal& Get();

    // Forgets the events and the items.
    void Restart();

    void Add(const std::string& event);

    // Returns the events since the last Take, each ended by a line feed, and starts a new page.
    std::string Take();

    // Gives `item` the next number. An address that comes back after its item was freed counts as
    // another item.
    void Introduce(const void* item);

    // Returns "#n", also for an item that is freed by now; "#unknown" for a stranger.
    std::string NameOf(const void* item) const;

private:
    std::string m_events;
    std::unordered_map<const void*, int> m_numbers;
    int m_newest = 0;
};

// Joins expected events into the form in which Take returns them.
std::string Events(std::initializer_list<std::string> events);

// Returns `bytes` on one line: control characters, backslashes and bytes past 0x7E as \xNN.
std::string OneLine(const std::string& bytes);

// Returns `bytes` as "04 00 00 00".
std::string Hex(const std::string& bytes);

}  // namespace recording
