// Keeps GIO from polling for desktop entries.
//
// GIO watches each folder of desktop entries or, while that does not exist, the closest folder
// above it that does. When that is "/", its watch fails, and it tries again every four seconds for
// ever: so it goes with a home of /nonexistent, as system users have. The same folder spelt "/."
// can be watched like any other.
//
// Threads: before there is a second one, and before GLib is first asked for a folder.

#pragma once

namespace applist::daemon {

// Spells the folders in XDG_DATA_HOME, XDG_DATA_DIRS, XDG_CONFIG_HOME and XDG_CONFIG_DIRS, and what
// stands for those of the user when they are not set, with "/." in front. They stay the same
// folders.
void MakeFoldersWatchable();

}  // namespace applist::daemon
