// SPDX-License-Identifier: MIT

#include "support/TestFd.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <utility>

const int kEverySeal = F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE;

namespace {

int Checked(int result, const char* what) {
    if (result < 0) throw std::runtime_error(std::string(what) + ": " + std::strerror(errno));
    return result;
}

TestFd NewMemfd() {
    return TestFd(Checked(memfd_create("test", MFD_CLOEXEC | MFD_ALLOW_SEALING), "memfd_create"));
}

}  // namespace

TestFd::~TestFd() {
    if (m_fd >= 0) close(m_fd);
}

TestFd::TestFd(TestFd&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}

TestFd MemfdOf(const std::string& content, int seals) {
    TestFd fd = NewMemfd();
    if (write(fd.Get(), content.data(), content.size()) != static_cast<ssize_t>(content.size())) {
        throw std::runtime_error("writing a memfd");
    }
    if (seals != 0) Checked(fcntl(fd.Get(), F_ADD_SEALS, seals), "F_ADD_SEALS");
    return fd;
}

TestFd SparseMemfd(std::uint64_t size) {
    TestFd fd = NewMemfd();
    Checked(ftruncate(fd.Get(), static_cast<off_t>(size)), "ftruncate");
    Checked(fcntl(fd.Get(), F_ADD_SEALS, kEverySeal), "F_ADD_SEALS");
    return fd;
}

TestFd FilledMemfd(std::uint64_t size) {
    TestFd fd = NewMemfd();
    Checked(fallocate(fd.Get(), 0, 0, static_cast<off_t>(size)), "fallocate");
    Checked(fcntl(fd.Get(), F_ADD_SEALS, kEverySeal), "F_ADD_SEALS");
    return fd;
}

std::uint64_t SizeOf(int fd) {
    struct stat status;
    Checked(fstat(fd, &status), "fstat");
    return static_cast<std::uint64_t>(status.st_size);
}

int SealsOf(int fd) {
    return Checked(fcntl(fd, F_GET_SEALS), "F_GET_SEALS");
}

std::string ContentOf(int fd) {
    std::string content(static_cast<std::size_t>(SizeOf(fd)), '\0');
    for (std::size_t done = 0; done < content.size();) {
        const ssize_t count =
            pread(fd, &content[done], content.size() - done, static_cast<off_t>(done));
        if (count <= 0) throw std::runtime_error("reading a memfd");
        done += static_cast<std::size_t>(count);
    }
    return content;
}
