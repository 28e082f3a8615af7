// SPDX-License-Identifier: MIT

// Tells when a file has changed: written, replaced, removed or made; and so for each symbolic link
// on the way to it. While folders on that way are missing, it tells when they come.
//
// The kernel follows what a path meant when the watch began. So whoever is told begins a new watch,
// and then looks at the file: nothing falls between.
//
// Folders above the last one, other than those of links, are not watched: somebody who renames one
// of them is not noticed, and others who work there do not wake us up.
//
// Threads: the thread of its default sd-event loop. Lifetime: calls nothing after its destruction,
// and must not be destroyed by its own call.

#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "bus/OwnedFd.h"
#include "bus/SdBus.h"

struct inotify_event;

namespace applist::daemon {

class FileWatch {
public:
    // Calls `changed` from the loop, perhaps more often than there was a change. What it throws is
    // logged. Throws std::system_error when the kernel refuses to watch.
    FileWatch(const std::string& path, std::function<void()> changed);

    FileWatch(const FileWatch&) = delete;
    FileWatch& operator=(const FileWatch&) = delete;

private:
    static int OnReadable(sd_event_source* source, int fd, std::uint32_t events, void* self);

    // Watches every link that `path` leads through, and its end.
    void Follow(const std::filesystem::path& path);
    // Watches what `name` means in `folder`, or that one when it comes.
    void WatchName(const std::filesystem::path& folder, const std::filesystem::path& name);
    void WatchContent(const std::string& path);
    // Returns the watch, or a negative errno.
    int Add(const std::filesystem::path& path, std::uint32_t events);
    void Listen();

    // Takes what has happened, and returns whether any of it may mean the file.
    bool TakeEvents();
    bool IsOurs(const inotify_event& event) const;

    std::function<void()> m_changed;
    OwnedFd m_inotify;
    std::vector<std::pair<int, std::string>> m_names;  // with the folder's watch
    int m_linksLeft;
    UniqueSource m_source;  // after the descriptor, so that it goes first
};

}  // namespace applist::daemon
