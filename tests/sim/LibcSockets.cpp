// Sockets and the descriptors that they carry.

#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>

#include "sim/FdList.h"
#include "sim/Libc.h"

using sim::FdList;
using sim::File;
using sim::FileOf;
using sim::IsInside;
using sim::MemoryLasts;
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

int connect(int fd, const struct sockaddr* address, socklen_t size) {
    const MemoryLasts lasts;
    File* const file = FileOf(fd);
    if (file == nullptr) return APPLIST_SIM_REAL(connect)(fd, address, size);
    World& world = *World::Current();
    if (!world.Strikes(world.m_faults.refuseConnect, "ECONNREFUSED")) {
        file->stream = world.Connect();
    }
    return file->stream == nullptr ? sim::FailWith(ECONNREFUSED) : 0;
}

ssize_t sendmsg(int fd, const struct msghdr* message, int flags) {
    const MemoryLasts lasts;
    const File* const file = FileOf(fd);
    if (file == nullptr) return APPLIST_SIM_REAL(sendmsg)(fd, message, flags);
    if (file->stream == nullptr) return sim::FailWith(ENOTCONN);
    return sim::ErrnoOf(file->stream->Write(Gather(*message), CopiesOfFds(*message)));
}

ssize_t recvmsg(int fd, struct msghdr* message, int flags) {
    const MemoryLasts lasts;
    const File* const file = FileOf(fd);
    if (file == nullptr) return APPLIST_SIM_REAL(recvmsg)(fd, message, flags);
    if (file->stream == nullptr) return sim::FailWith(ENOTCONN);
    std::string bytes;
    FdList fds;
    bool isCut = false;
    const ssize_t result = file->stream->Read(RoomOf(*message), bytes, fds, isCut);
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
    if (FileOf(fd) != nullptr) return 0;
    return APPLIST_SIM_REAL(shutdown)(fd, how);
}

int close(int fd) {
    const MemoryLasts lasts;
    const File* const file = FileOf(fd);
    if (file != nullptr && file->stream != nullptr) file->stream->CloseByClient();
    if (file != nullptr) sim::Uninstall(fd);
    return APPLIST_SIM_REAL(close)(fd);
}

}  // extern "C"
