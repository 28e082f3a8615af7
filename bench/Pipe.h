// SPDX-License-Identifier: MIT

// A pipe from the children that are forked later to this process.
//
// Threads: one. Lifetime: closes its ends; a program that a child becomes does not have them.

#pragma once

#include <cstddef>
#include <cstdint>

namespace bench {

class Pipe {
public:
    // Throws std::runtime_error.
    Pipe();
    ~Pipe();
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    int WriteFd() const { return m_ends[1]; }

    // Once this process has no other end, it notices when the children have none either.
    void CloseWriteEnd();

    // Reads `size` bytes that are written in one piece. Returns false when there are none until
    // `deadline`, by NowNanoseconds, or nobody is left who could write.
    bool Read(void* bytes, std::size_t size, std::int64_t deadline) const;

private:
    int m_ends[2];
};

}  // namespace bench
