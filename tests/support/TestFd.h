// SPDX-License-Identifier: MIT

// Descriptors that tests make, send and look into.
//
// Threads: any. Lifetime: a TestFd closes its descriptor.

#pragma once

#include <cstdint>
#include <string>

class TestFd {
public:
    explicit TestFd(int fd) : m_fd(fd) {}
    ~TestFd();
    TestFd(TestFd&& other) noexcept;
    TestFd(const TestFd&) = delete;
    TestFd& operator=(const TestFd&) = delete;

    int Get() const { return m_fd; }

private:
    int m_fd;
};

// The three seals that a message body needs.
extern const int kEverySeal;

// Returns a memfd that holds `content`, with `seals`.
TestFd MemfdOf(const std::string& content, int seals = kEverySeal);

// Returns a sealed memfd of `size` bytes that takes no memory: all of it is one hole.
TestFd SparseMemfd(std::uint64_t size);

// Returns a sealed memfd of `size` bytes, zeros, that takes as much memory.
TestFd FilledMemfd(std::uint64_t size);

// Returns the whole content of `fd`, wherever it is positioned; and its size and seals.
std::string ContentOf(int fd);
std::uint64_t SizeOf(int fd);
int SealsOf(int fd);
