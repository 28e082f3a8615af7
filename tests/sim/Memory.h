// SPDX-License-Identifier: MIT

// Memory that ends: the program's operator new, which fails at random while the code under test of
// one process runs. Only allocations of ours fail, not those of the bus library.

#pragma once

namespace sim {

// While one is alive, allocations of the running process may fail, or, when `ends` is false, none
// does: what the simulator and the test do on the process's stack is not under test. They nest.
class MemoryEnds {
public:
    explicit MemoryEnds(bool ends);
    ~MemoryEnds();
    MemoryEnds(const MemoryEnds&) = delete;
    MemoryEnds& operator=(const MemoryEnds&) = delete;

private:
    const bool m_before;
};

class MemoryLasts : public MemoryEnds {
public:
    MemoryLasts() : MemoryEnds(false) {}
};

}  // namespace sim
