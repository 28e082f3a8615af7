// SPDX-License-Identifier: MIT

// Message bodies in sealed memfds: memory that both sides can read and nobody can change.
//
// Lifetime: a descriptor passed in stays the caller's.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "bus/OwnedFd.h"

namespace applist {

// Says why the body behind `fd` cannot be taken, in words for the sender; empty when it can: a
// memfd of at most `limit` bytes, all of them in memory, whose contents and size are sealed.
// Without the seals the sender could change or shorten it while it is read; a hole costs the sender
// nothing and the reader as much memory as it claims to be. No byte of the body is read.
std::string WhyNoSealedBody(int fd, std::size_t limit);

// Returns how many bytes the memfd `fd` says it holds; 0 for anything that is not a memfd.
std::uint64_t SizeOfMemfd(int fd);

// Reads the whole body of a memfd for which WhyNoSealedBody said nothing into `body`, whatever the
// descriptor's position is. Returns 0 or a negative errno. Throws std::bad_alloc.
int ReadSealedBody(int fd, std::vector<char>& body);

// Returns a new memfd, still empty.
OwnedFd MakeMemfd();

// Writes `body` into an empty memfd and seals it for good. Returns 0 or a negative errno; for an
// empty body 0.
int FillAndSeal(int fd, const std::vector<char>& body);

// Returns a new memfd that holds `body`, sealed for good.
OwnedFd MakeSealedBody(const std::vector<char>& body);

}  // namespace applist
