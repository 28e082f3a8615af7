// SPDX-License-Identifier: MIT

// One launcher run: an X server, a bus, a list and the two launchers, in processes of their own,
// and keys that are pressed on one of them.
//
// Threads: one. Lifetime: the processes go with the object.

#pragma once

#include <cstddef>
#include <functional>
#include <vector>

#include "LauncherProcesses.h"
#include "Pipe.h"
#include "PrivateBus.h"
#include "Screen.h"

namespace bench {

// What came of one key: milliseconds from it to the other launcher's frame, and its three parts.
struct Shown {
    double total;
    double toList;    // until the list has the selection
    double toView;    // until the other launcher's view has been told
    double toFrame;   // until its window has drawn it, in view
    bool isScrolled;  // it had drawn a frame before in which it was out of view
};

struct Presses {
    int pressed = 0;
    std::vector<Shown> shown;

    int Lost() const { return pressed - static_cast<int>(shown.size()); }
};

class LauncherRun {
public:
    // Returns when both windows have the list. Throws std::runtime_error when they do not.
    LauncherRun(std::size_t items, Way way);

    // Presses an arrow key on `from`, `count` times, each when `to` has drawn what the one before
    // did, and a little later; or when it has not for long enough to call that one lost. Throws
    // std::runtime_error when too many are.
    Presses Press(LauncherPart from, LauncherPart to, int count);

private:
    struct Seen {
        std::int64_t number = -1;
        std::int64_t at = 0;
    };
    struct PartState {
        Seen opened, active, selected, drawn, hidden;
    };

    LauncherPlace Place() const;
    PartState& State(LauncherPart part) { return m_parts[static_cast<std::size_t>(part)]; }
    bool ReadUntil(std::int64_t deadline, const std::function<bool()>& done);
    void Take(const LauncherEvent& event);
    void GiveKeys(LauncherPart part);
    void PressOnce(LauncherPart to, Presses& presses);

    const std::size_t m_items;
    const Way m_way;
    Pipe m_events;
    Screen m_screen;
    PrivateBus m_bus;
    ChildProcess m_list;
    ChildProcess m_qml;
    ChildProcess m_gtk;
    Keyboard m_keyboard;
    PartState m_parts[3];
    Keyboard::Key m_key = Keyboard::Key::Right;
};

}  // namespace bench
