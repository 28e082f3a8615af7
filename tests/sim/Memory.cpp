// SPDX-License-Identifier: MIT

#include "sim/Memory.h"

#include <cstdlib>
#include <new>
#include <utility>

#include "sim/World.h"

namespace {

// Of the process that runs now: whoever lets another one run has to see to it (see MemoryEnds in
// the functions that wait).
bool memoryMayEnd = false;

bool Fails() {
    if (!memoryMayEnd) return false;
    const sim::MemoryLasts forTheNote;
    sim::World& world = *sim::World::Current();
    return world.Strikes(world.m_faults.refuseMemory, "no memory");
}

}  // namespace

namespace sim {

MemoryEnds::MemoryEnds(bool ends) : m_before(std::exchange(memoryMayEnd, ends)) {}

MemoryEnds::~MemoryEnds() {
    memoryMayEnd = m_before;
}

}  // namespace sim

void* operator new(std::size_t size) {
    void* const memory = Fails() ? nullptr : std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
