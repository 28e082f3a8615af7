// SPDX-License-Identifier: MIT

// Sockets and the descriptors that they carry.

#include <fcntl.h>
#include <linux/sockios.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>

#include "sim/FdList.h"
#include "sim/Libc.h"
#include "sim/PairEnd.h"

using sim::FdList;
using sim::File;
using sim::FileOf;
using sim::IsInside;
using sim::MemoryLasts;
using sim::PairEnd;
using sim::World;

namespace {

// No more than a socket takes: a large message is offered again and again.
std::string Gather(const struct msghdr& message) {
    const std::size_t most = World::Current()->m_faults.socketRoom;
    std::string bytes;
    for (std::size_t at = 0; at < message.msg_iovlen && bytes.size() < most; ++at) {
        const struct iovec& part = message.msg_iov[at];
        bytes.append(static_cast<const char*>(part.iov_base),
                     std::min(part.iov_len, most - bytes.size()));
    }
    return bytes;
}

void Scatter(const std::string& bytes, const struct msghdr& message) {
    std::size_t done = 0;
    for (std::size_t at = 0; at < message.msg_iovlen && done < bytes.size(); ++at) {
        const struct iovec& part = message.msg_iov[at];
        const std::size_t size = std::min(part.iov_len, bytes.size() - done);
        std::memcpy(part.iov_base, bytes.data() + done, size);
        done += size;
    }
}

std::size_t RoomOf(const struct msghdr& message) {
    std::size_t room = 0;
    for (std::size_t at = 0; at < message.msg_iovlen; ++at) room += message.msg_iov[at].iov_len;
    return room;
}

FdList CopiesOfFds(const struct msghdr& message) {
    FdList copies;
    struct msghdr headers = message;  // CMSG_NXTHDR wants one that it could change
    for (struct cmsghdr* each = CMSG_FIRSTHDR(&headers); each != nullptr;
         each = CMSG_NXTHDR(&headers, each)) {
        if (each->cmsg_level != SOL_SOCKET || each->cmsg_type != SCM_RIGHTS) continue;
        const std::size_t count = (each->cmsg_len - CMSG_LEN(0)) / sizeof(int);
        for (std::size_t at = 0; at < count; ++at) {
            int fd = -1;
            std::memcpy(&fd, CMSG_DATA(each) + at * sizeof(fd), sizeof(fd));
            copies.AddCopyOf(fd);
        }
    }
    return copies;
}

void HandOver(FdList fds, struct msghdr& message) {
    const std::size_t size = fds.Count() * sizeof(int);
    if (size == 0) {
        message.msg_controllen = 0;
        return;
    }
    if (message.msg_controllen < CMSG_SPACE(size)) std::abort();
    struct cmsghdr* const header = CMSG_FIRSTHDR(&message);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    header->cmsg_len = CMSG_LEN(size);
    std::memcpy(CMSG_DATA(header), fds.Release().data(), size);
    message.msg_controllen = CMSG_SPACE(size);
}

// A process that has run out of descriptors is refused one.
bool IsRefused(unsigned chance, const char* fault) {
    return IsInside() && World::Current()->Strikes(chance, fault);
}

}  // namespace

extern "C" {

int socket(int domain, int type, int protocol) noexcept {
    const MemoryLasts lasts;
    if (IsInside() && IsRefused(World::Current()->m_faults.refuseSocket, "EMFILE of socket")) {
        return sim::FailWith(EMFILE);
    }
    const int fd = APPLIST_SIM_REAL(socket)(domain, type, protocol);
    if (IsInside() && fd >= 0) sim::Install(fd, File::Kind::Socket);
    return fd;
}

// Newer versions of the bus library name their end of a connection, for whoever looks at it from
// outside: the kernel's are one for the whole machine, and their random part is not random here.
int bind(int fd, const struct sockaddr* address, socklen_t size) noexcept {
    if (FileOf(fd) != nullptr) return 0;
    return APPLIST_SIM_REAL(bind)(fd, address, size);
}

int connect(int fd, const struct sockaddr* address, socklen_t size) {
    const MemoryLasts lasts;
    File* const file = FileOf(fd);
    if (file == nullptr) return APPLIST_SIM_REAL(connect)(fd, address, size);
    World& world = *World::Current();
    if (!world.Strikes(world.m_faults.refuseConnect, "ECONNREFUSED")) {
        if (auto stream = world.Connect()) sim::InstallSocket(fd, std::move(stream));
    }
    return file->socket == nullptr ? sim::FailWith(ECONNREFUSED) : 0;
}

int socketpair(int domain, int type, int protocol, int fds[2]) noexcept {
    const MemoryLasts lasts;
    if (IsInside() && IsRefused(World::Current()->m_faults.refuseSocket, "EMFILE of socketpair")) {
        return sim::FailWith(EMFILE);
    }
    const int result = APPLIST_SIM_REAL(socketpair)(domain, type, protocol, fds);
    if (!IsInside() || result != 0) return result;
    const auto ends = PairEnd::NewPair(*World::Current());
    sim::InstallSocket(fds[0], ends.first);
    sim::InstallSocket(fds[1], ends.second);
    return 0;
}

ssize_t sendmsg(int fd, const struct msghdr* message, int flags) {
    const MemoryLasts lasts;
    const File* const file = FileOf(fd);
    if (file == nullptr) return APPLIST_SIM_REAL(sendmsg)(fd, message, flags);
    if (file->socket == nullptr) return sim::FailWith(ENOTCONN);
    return sim::ErrnoOf(file->socket->Write(Gather(*message), CopiesOfFds(*message)));
}

ssize_t recvmsg(int fd, struct msghdr* message, int flags) {
    const MemoryLasts lasts;
    const File* const file = FileOf(fd);
    if (file == nullptr) return APPLIST_SIM_REAL(recvmsg)(fd, message, flags);
    if (file->socket == nullptr) return sim::FailWith(ENOTCONN);
    std::string bytes;
    FdList fds;
    bool isCut = false;
    const ssize_t result = file->socket->Read(RoomOf(*message), bytes, fds, isCut);
    if (result < 0) return sim::ErrnoOf(result);
    Scatter(bytes, *message);
    HandOver(std::move(fds), *message);
    message->msg_flags = isCut ? MSG_CTRUNC : 0;
    return result;
}

int memfd_create(const char* name, unsigned flags) noexcept {
    const MemoryLasts lasts;
    if (IsInside() && IsRefused(World::Current()->m_faults.refuseMemfd, "EMFILE of memfd")) {
        return sim::FailWith(EMFILE);
    }
    return APPLIST_SIM_REAL(memfd_create)(name, flags);
}

int setsockopt(int fd, int level, int name, const void* value, socklen_t size) noexcept {
    if (FileOf(fd) != nullptr) return 0;
    return APPLIST_SIM_REAL(setsockopt)(fd, level, name, value, size);
}

int shutdown(int fd, int how) noexcept {
    const MemoryLasts lasts;
    const File* const file = FileOf(fd);
    if (file == nullptr) return APPLIST_SIM_REAL(shutdown)(fd, how);
    if (file->socket == nullptr) return sim::FailWith(ENOTCONN);
    if (how != SHUT_RD) file->socket->ShutDownWriting();
    if (how != SHUT_WR) file->socket->ShutDownReading();
    return 0;
}

ssize_t recv(int fd, void* buffer, size_t size, int flags) {
    if (FileOf(fd) == nullptr) return APPLIST_SIM_REAL(recv)(fd, buffer, size, flags);
    struct iovec part = {buffer, size};
    struct msghdr message = {};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    return recvmsg(fd, &message, flags);
}

// How much is still to be read at the other end, and nothing else.
int ioctl(int fd, unsigned long request, ...) noexcept {
    std::va_list arguments;
    va_start(arguments, request);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    const File* const file = FileOf(fd);
    if (file == nullptr || file->socket == nullptr) {
        return APPLIST_SIM_REAL(ioctl)(fd, request, argument);
    }
    if (request != SIOCOUTQ) return sim::FailWith(ENOTTY);
    *static_cast<int*>(argument) = static_cast<int>(file->socket->Unread());
    return 0;
}

int fcntl64(int fd, int command, ...) {
    const MemoryLasts lasts;
    std::va_list arguments;
    va_start(arguments, command);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    const int result = APPLIST_SIM_REAL(fcntl64)(fd, command, argument);
    if (command == F_DUPFD || command == F_DUPFD_CLOEXEC) sim::InstallCopy(fd, result);
    return result;
}

int close(int fd) {
    const MemoryLasts lasts;
    const File* const file = FileOf(fd);
    if (file != nullptr) sim::Uninstall(fd);
    return APPLIST_SIM_REAL(close)(fd);
}

}  // extern "C"
