// SPDX-License-Identifier: MIT

#include "apps/applistd/FileWatch.h"

#include <sys/epoll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

#include "apps/applistd/DefaultLoop.h"
#include "common/Guarded.h"

namespace applist::daemon {

namespace {

namespace fs = std::filesystem;

// As many as the kernel follows.
constexpr int kMostLinks = 40;

constexpr std::uint32_t kNames = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_ATTRIB |
                                 IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;
constexpr std::uint32_t kContent =
    IN_MODIFY | IN_CLOSE_WRITE | IN_ATTRIB | IN_DELETE_SELF | IN_MOVE_SELF;

bool IsMissing(int result) {
    return result == -ENOENT || result == -ENOTDIR;
}

int ErrnoOr(int result) {
    return result < 0 ? -errno : result;
}

}  // namespace

FileWatch::FileWatch(const std::string& path, std::function<void()> changed)
    : m_changed(std::move(changed)),
      m_inotify(Checked(ErrnoOr(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)), "cannot watch a file")),
      m_linksLeft(kMostLinks) {
    Follow(path);
    WatchContent(path);
    Listen();
}

void FileWatch::Follow(const fs::path& path) {
    fs::path way;
    for (const fs::path& step : path) {
        const fs::path folder = way;
        way /= step;
        std::error_code noLink;
        const fs::path target = fs::read_symlink(way, noLink);
        if (!noLink || way == path) WatchName(folder, step);
        if (!noLink && --m_linksLeft > 0) Follow(folder / target);
    }
}

void FileWatch::WatchName(const fs::path& folder, const fs::path& name) {
    int watch = Add(folder, kNames);
    if (IsMissing(watch) && folder.has_relative_path()) {
        WatchName(folder.parent_path(), folder.filename());
        watch = Add(folder, kNames);  // it may have come before that watch began
        if (IsMissing(watch)) return;
    }
    m_names.emplace_back(Checked(watch, "cannot watch " + folder.string()), name.string());
}

// Where there is no file to watch, or none that we may read, its name tells when there is.
void FileWatch::WatchContent(const std::string& path) {
    const int watch = Add(path, kContent);
    if (watch == -ENOSPC || watch == -ENOMEM) Checked(watch, "cannot watch " + path);
}

int FileWatch::Add(const fs::path& path, std::uint32_t events) {
    return ErrnoOr(inotify_add_watch(m_inotify.Get(), path.empty() ? "." : path.c_str(), events));
}

void FileWatch::Listen() {
    const UniqueEvent loop = DefaultLoop();
    sd_event_source* source = nullptr;
    Checked(sd_event_add_io(loop.get(), &source, m_inotify.Get(), EPOLLIN, OnReadable, this),
            "cannot watch a file");
    m_source.reset(source);
}

int FileWatch::OnReadable(sd_event_source*, int, std::uint32_t, void* self) {
    auto* const watch = static_cast<FileWatch*>(self);
    Guarded("watching a file", [watch] {
        if (watch->TakeEvents()) watch->m_changed();
    });
    return 0;
}

bool FileWatch::TakeEvents() {
    alignas(inotify_event) char bytes[4096];
    const ssize_t read = ::read(m_inotify.Get(), bytes, sizeof(bytes));
    const std::size_t size = read < 0 ? 0 : static_cast<std::size_t>(read);
    bool isOurs = false;
    for (std::size_t at = 0; at < size;) {
        const auto& event = *reinterpret_cast<const inotify_event*>(bytes + at);
        isOurs = isOurs || IsOurs(event);
        at += sizeof(event) + event.len;
    }
    return isOurs;
}

bool FileWatch::IsOurs(const inotify_event& event) const {
    // Of the file, of a folder itself, or that the kernel had to forget some.
    if (event.len == 0) return true;
    return std::any_of(m_names.begin(), m_names.end(), [&event](const auto& each) {
        return each.first == event.wd && each.second == event.name;
    });
}

}  // namespace applist::daemon
