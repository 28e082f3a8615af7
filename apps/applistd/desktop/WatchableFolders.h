// SPDX-License-Identifier: MIT

// Keeps GIO from polling for desktop entries.
//
// GIO watches each folder of desktop entries or, while that does not exist, the closest folder
// above it that does. When that is "/", its watch fails, and it tries again every four seconds for
// ever. This happens with a home of /nonexistent, which system users have. Spelt "/.", the same
// folder can be watched like any other.
//
// Threads: call it before there is a second one (it sets environment variables), and before GLib is
// first asked for a folder.

#pragma once

namespace applist::daemon {

// Puts "/." in front of the folders in XDG_DATA_HOME, XDG_DATA_DIRS, XDG_CONFIG_HOME and
// XDG_CONFIG_DIRS, and sets the user's two to their defaults, spelt the same way, when they are not
// set. They stay the same folders.
void MakeFoldersWatchable();

}  // namespace applist::daemon
