// SPDX-License-Identifier: MIT

#include "sim/FileTable.h"

#include <algorithm>
#include <cstdlib>

#include "sim/World.h"

namespace sim {

namespace {

constexpr int kMostFds = 4096;

// An array, because this is asked for every system call that the program makes.
std::unique_ptr<File>* Files() {
    static std::unique_ptr<File>* const files = new std::unique_ptr<File>[kMostFds];
    return files;
}

std::uint32_t ReadyOfTimer(const File& timer, Usec& next) {
    if (timer.armed <= World::Current()->Now()) return EPOLLIN;
    next = std::min(next, timer.armed);
    return 0;
}

}  // namespace

File* FileOf(int fd) {
    if (World::Current() == nullptr || fd < 0 || fd >= kMostFds) return nullptr;
    return Files()[fd].get();
}

File& Install(int fd, File::Kind kind) {
    if (fd >= kMostFds) std::abort();
    ++World::Current()->m_openFiles;
    Files()[fd].reset(new File{kind});
    return *Files()[fd];
}

void InstallSocket(int fd, std::shared_ptr<Socket> socket) {
    File* const file = FileOf(fd);
    socket->AddFd();
    (file != nullptr ? *file : Install(fd, File::Kind::Socket)).socket = std::move(socket);
}

void InstallCopy(int fd, int copy) {
    const File* const file = FileOf(fd);
    if (copy >= 0 && file != nullptr && file->socket) InstallSocket(copy, file->socket);
}

void Uninstall(int fd) {
    --World::Current()->m_openFiles;
    const std::unique_ptr<File> file = std::move(Files()[fd]);
    if (file->socket) file->socket->RemoveFd();
}

std::uint32_t ReadyOf(const File& file, std::uint32_t events, Usec& next) {
    switch (file.kind) {
        case File::Kind::Timer: return ReadyOfTimer(file, next);
        case File::Kind::Epoll: return 0;
        case File::Kind::Socket: break;
    }
    // A socket that was never connected: as the kernel has it.
    if (file.socket == nullptr) return (events & EPOLLOUT) | EPOLLHUP;
    return file.socket->Ready(events, next);
}

}  // namespace sim
