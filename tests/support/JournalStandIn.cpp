// SPDX-License-Identifier: MIT

#include "support/JournalStandIn.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

namespace {

bool Done(bool done, const char* what) {
    if (!done) std::fprintf(stderr, "journal stand-in: %s: %s\n", what, std::strerror(errno));
    return done;
}

bool WriteFile(const char* path, const std::string& text) {
    const int fd = open(path, O_WRONLY | O_CLOEXEC);
    const bool written =
        fd >= 0 && write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    if (fd >= 0) close(fd);
    return Done(written, path);
}

// Maps the one user and the one group that we are to themselves.
bool EnterUserNamespace() {
    const std::string user = std::to_string(getuid());
    const std::string group = std::to_string(getgid());
    return Done(unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0, "a user namespace") &&
           WriteFile("/proc/self/setgroups", "deny") &&
           WriteFile("/proc/self/uid_map", user + " " + user + " 1") &&
           WriteFile("/proc/self/gid_map", group + " " + group + " 1");
}

bool EnterMountNamespace() {
    return geteuid() == 0 ? Done(unshare(CLONE_NEWNS) == 0, "a mount namespace")
                          : EnterUserNamespace();
}

bool BindJournal(int journal) {
    struct sockaddr_un address = {AF_UNIX, "/run/systemd/journal/socket"};
    return bind(journal, reinterpret_cast<struct sockaddr*>(&address), sizeof(address)) == 0;
}

}  // namespace

bool EnterNamespaceWithJournal(int journal) {
    return EnterMountNamespace() &&
           Done(mount("none", "/", "", MS_REC | MS_PRIVATE, nullptr) == 0, "private mounts") &&
           Done(mount("none", "/run", "tmpfs", 0, nullptr) == 0, "a tmpfs on /run") &&
           Done(mkdir("/run/systemd", 0755) == 0 && mkdir("/run/systemd/journal", 0755) == 0,
                "the journal's folder") &&
           Done(BindJournal(journal), "the journal's socket");
}
