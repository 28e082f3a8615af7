// SPDX-License-Identifier: MIT

#include "apps/applistd/desktop/WatchableFolders.h"

#include <glib.h>

#include <string>

namespace applist::daemon {

namespace {

// Returns a colon-separated list of folders with "/." in front of each absolute one.
std::string Respelt(const std::string& folders) {
    std::string respelt;
    bool atStart = true;
    for (const char c : folders) {
        if (atStart && c == '/') respelt += "/.";
        respelt += c;
        atStart = c == G_SEARCHPATH_SEPARATOR;
    }
    return respelt;
}

void Respell(const char* variable, const std::string& otherwise) {
    const char* const set = g_getenv(variable);
    const bool isSet = set != nullptr && *set != '\0';
    const std::string folders = isSet ? set : otherwise;
    if (!folders.empty()) g_setenv(variable, Respelt(folders).c_str(), TRUE);
}

}  // namespace

void MakeFoldersWatchable() {
    const std::string home = g_get_home_dir();
    Respell("XDG_DATA_HOME", home + "/.local/share");
    Respell("XDG_CONFIG_HOME", home + "/.config");
    // When these two are not set, folders below /usr and /etc are used: if one of them is missing,
    // the closest folder above it is still not "/".
    Respell("XDG_DATA_DIRS", "");
    Respell("XDG_CONFIG_DIRS", "");
}

}  // namespace applist::daemon
