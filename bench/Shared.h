// SPDX-License-Identifier: MIT

// A value in memory that a process shares with the children that it forks later.
//
// Threads: any; what several processes touch at a time is atomic. Lifetime: the memory goes with
// the object, a child's view of it with the child.

#pragma once

#include <sys/mman.h>

#include <new>
#include <stdexcept>

namespace bench {

template <class T>
class Shared {
public:
    Shared() {
        void* const memory =
            mmap(nullptr, sizeof(T), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED) throw std::runtime_error("no memory to share");
        m_value = new (memory) T;
    }
    ~Shared() { munmap(m_value, sizeof(T)); }

    Shared(const Shared&) = delete;
    Shared& operator=(const Shared&) = delete;

    T& operator*() const { return *m_value; }
    T* operator->() const { return m_value; }

private:
    T* m_value;
};

}  // namespace bench
