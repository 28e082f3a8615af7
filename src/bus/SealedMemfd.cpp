// SPDX-License-Identifier: MIT

#include "bus/SealedMemfd.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "common/Joined.h"

namespace applist {

namespace {

// With these three neither the size nor a byte can change any more.
constexpr int kFixedSeals = F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE;

int WriteAll(int fd, const std::vector<char>& body) {
    for (std::size_t done = 0; done < body.size();) {
        const ssize_t written = write(fd, body.data() + done, body.size() - done);
        if (written < 0 && errno == EINTR) continue;
        if (written < 0) return -errno;
        done += static_cast<std::size_t>(written);
    }
    return 0;
}

// A hole takes no memory until somebody reads it, and then it takes the reader's.
std::uint64_t BytesInMemory(const struct stat& status) {
    return static_cast<std::uint64_t>(status.st_blocks) * 512;
}

}  // namespace

std::string WhyNoSealedBody(int fd, std::size_t limit) {
    // The seals before the size: until they are known to be there, the size means nothing. Asking
    // for them also sorts out pipes and devices, whose reading could block the only thread.
    const int seals = fcntl(fd, F_GET_SEALS);
    if (seals < 0) return "the descriptor is not a memfd; send one made with memfd_create";
    if ((seals & kFixedSeals) != kFixedSeals) {
        return "the memfd is not sealed; add F_SEAL_SHRINK, F_SEAL_GROW and F_SEAL_WRITE";
    }
    struct stat status;
    if (fstat(fd, &status) != 0) return "the size of the memfd is unknown";
    const auto size = static_cast<std::uint64_t>(status.st_size);
    if (size > limit) {
        return Joined({"the memfd holds ", Decimal(size), " bytes; send at most ", Decimal(limit)});
    }
    // Memory comes in whole pages, small or huge, so a memfd without a hole never has less.
    if (BytesInMemory(status) < size) {
        return Joined({"the memfd has holes: ", Decimal(BytesInMemory(status)), " of its ",
                       Decimal(size), " bytes are in memory; write all of them"});
    }
    return std::string();
}

std::uint64_t SizeOfMemfd(int fd) {
    struct stat status;
    if (fcntl(fd, F_GET_SEALS) < 0 || fstat(fd, &status) != 0) return 0;
    return static_cast<std::uint64_t>(status.st_size);
}

// Read, not mapped: the receiver needs a copy that it may change, and reading cannot fault.
int ReadSealedBody(int fd, std::vector<char>& body) {
    struct stat status;
    if (fstat(fd, &status) != 0) return -errno;
    body.resize(static_cast<std::size_t>(status.st_size));
    for (std::size_t done = 0; done < body.size();) {
        const ssize_t count =
            pread(fd, body.data() + done, body.size() - done, static_cast<off_t>(done));
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return -errno;
        if (count == 0) return -EIO;  // shorter than it said: not sealed after all
        done += static_cast<std::size_t>(count);
    }
    return 0;
}

OwnedFd MakeMemfd() {
    const int fd = memfd_create("applist", MFD_CLOEXEC | MFD_ALLOW_SEALING);
    return OwnedFd(fd < 0 ? -errno : fd);
}

int FillAndSeal(int fd, const std::vector<char>& body) {
    const int result = WriteAll(fd, body);
    if (result < 0) return result;
    return fcntl(fd, F_ADD_SEALS, kFixedSeals | F_SEAL_SEAL) != 0 ? -errno : 0;
}

OwnedFd MakeSealedBody(const std::vector<char>& body) {
    OwnedFd fd = MakeMemfd();
    if (fd.Get() < 0) return fd;
    const int result = FillAndSeal(fd.Get(), body);
    return result < 0 ? OwnedFd(result) : std::move(fd);
}

}  // namespace applist
