// SPDX-License-Identifier: MIT

// The processes of a launcher run: a list, and the launchers of examples/ in a window each, as they
// are. What is watched is watched from outside.
//
// Each function serves in the calling process until it is killed, and writes a byte to `readyFd`
// when it stands. They throw when they cannot come up.
//
// Threads: the caller's, which has the loop of sd-event or of the toolkit.

#pragma once

#include <cstddef>
#include <string>

#include "LauncherEvents.h"
#include "Way.h"

namespace bench {

struct LauncherPlace {
    std::string display;
    std::string address;
    Way way;
    std::size_t items;
    int eventsFd;

    // The row that is selected at first: keys go both ways from there.
    std::size_t FirstRow() const { return items / 2; }
};

// LocalAppListModel around a list that does what partners want, and tells of it.
void RunLauncherList(const LauncherPlace& place, int readyFd);

// Each draws by the processor alone, and puts its window beside the other's.
void RunQmlLauncher(const LauncherPlace& place, int readyFd);
void RunGtkLauncher(const LauncherPlace& place, int readyFd);

}  // namespace bench
