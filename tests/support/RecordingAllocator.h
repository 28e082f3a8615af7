// SPDX-License-Identifier: MIT

// The tests' heap: counts what is allocated, tells when a watched object is freed, and can run out
// of memory on demand. It replaces the global operator new and delete of the test program, the one
// place from which the moment of a `delete` can be seen without changing the class that is freed.
//
// Threads: one. Lifetime: everything here is the process's; ForgetWatched ends all watching.

#pragma once

#include <cstddef>

namespace recording {

// Calls the observer, once, when the memory of `object` is freed.
void WatchDelete(const void* object);

// How many watched objects have not been freed.
std::size_t WatchedCount();

void ForgetWatched();

// The observer of freed objects; null for none. The object is destroyed already: an address.
void ObserveDeletes(void (*observer)(const void* object, void* context), void* context);

struct Allocations {
    std::size_t blocks;
    std::size_t bytes;
};

// Returns the sum of all allocations since the process started. Subtract to measure.
Allocations AllocationsSoFar();

// Bytes that are allocated and not freed, as the heap counts them.
std::size_t BytesInUse();

// Measures from its making how far the bytes in use rise above what they were then.
class PeakOfHeap {
public:
    PeakOfHeap();

    std::size_t Bytes() const;

private:
    const std::size_t m_before;
};

// While it lives, the n-th allocation from its making (1 is the next) throws std::bad_alloc, and so
// do the ones after it, `count` in all.
class FailingAllocation {
public:
    explicit FailingAllocation(std::size_t nth, std::size_t count = 1);
    ~FailingAllocation();

    bool HasFailed() const;

    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;
};

// While it lives, allocations succeed and the countdown of FailingAllocation rests: the tests' own
// record keeping must not be what runs out of memory.
class ExemptFromFailing {
public:
    ExemptFromFailing();
    ~ExemptFromFailing();

    ExemptFromFailing(const ExemptFromFailing&) = delete;
    ExemptFromFailing& operator=(const ExemptFromFailing&) = delete;

private:
    bool m_was;
};

}  // namespace recording
