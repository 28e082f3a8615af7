// SPDX-License-Identifier: MIT

#include "support/RecordingAllocator.h"

#include <malloc.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <new>

// All state is constant-initialised: memory is asked for before any constructor of this program.
namespace recording {

namespace {

const std::size_t kMostWatched = 4096;
const void* g_watched[kMostWatched];
std::size_t g_watchedCount = 0;

// How many watched addresses fall into each slot. Nearly every delete of the process is of some
// other object, and this tells so without a search.
const std::size_t kSlots = 1024;
unsigned g_inSlot[kSlots];

void (*g_observer)(const void*, void*) = nullptr;
void* g_observerContext = nullptr;

Allocations g_sum = {0, 0};
std::size_t g_inUse = 0;
std::size_t g_peak = 0;
std::size_t g_untilFailure = 0;  // 0: no failure is planned
std::size_t g_failures = 0;      // how many there are from then on
bool g_hasFailed = false;
bool g_exempt = false;

std::size_t SlotOf(const void* object) {
    return (reinterpret_cast<std::uintptr_t>(object) >> 4) % kSlots;
}

void Forget(std::size_t at) {
    --g_inSlot[SlotOf(g_watched[at])];
    g_watched[at] = g_watched[--g_watchedCount];
}

void TellIfWatched(const void* object) {
    if (object == nullptr || g_inSlot[SlotOf(object)] == 0) return;
    for (std::size_t at = 0; at < g_watchedCount; ++at) {
        if (g_watched[at] != object) continue;
        Forget(at);
        if (g_observer != nullptr) g_observer(object, g_observerContext);
        return;
    }
}

bool IsToFail() {
    if (g_untilFailure == 0 || g_exempt) return false;
    if (g_untilFailure > 1) {
        --g_untilFailure;
        return false;
    }
    g_hasFailed = true;
    if (--g_failures == 0) g_untilFailure = 0;
    return true;
}

void* Allocate(std::size_t size) {
    if (IsToFail()) return nullptr;
    ++g_sum.blocks;
    g_sum.bytes += size;
    void* const memory = std::malloc(size != 0 ? size : 1);
    g_inUse += malloc_usable_size(memory);
    g_peak = std::max(g_peak, g_inUse);
    return memory;
}

void* AllocateOrThrow(std::size_t size) {
    void* const memory = Allocate(size);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

void Free(void* memory) {
    TellIfWatched(memory);
    g_inUse -= malloc_usable_size(memory);
    std::free(memory);
}

}  // namespace

void WatchDelete(const void* object) {
    if (g_watchedCount == kMostWatched) std::abort();
    g_watched[g_watchedCount++] = object;
    ++g_inSlot[SlotOf(object)];
}

std::size_t WatchedCount() {
    return g_watchedCount;
}

void ForgetWatched() {
    while (g_watchedCount != 0) Forget(g_watchedCount - 1);
}

void ObserveDeletes(void (*observer)(const void* object, void* context), void* context) {
    g_observer = observer;
    g_observerContext = context;
}

Allocations AllocationsSoFar() {
    return g_sum;
}

std::size_t BytesInUse() {
    return g_inUse;
}

PeakOfHeap::PeakOfHeap() : m_before(g_inUse) {
    g_peak = g_inUse;
}

std::size_t PeakOfHeap::Bytes() const {
    return g_peak - m_before;
}

FailingAllocation::FailingAllocation(std::size_t nth, std::size_t count) {
    g_hasFailed = false;
    g_untilFailure = nth;
    g_failures = count;
}

FailingAllocation::~FailingAllocation() {
    g_untilFailure = 0;
}

bool FailingAllocation::HasFailed() const {
    return g_hasFailed;
}

ExemptFromFailing::ExemptFromFailing() : m_was(g_exempt) {
    g_exempt = true;
}

ExemptFromFailing::~ExemptFromFailing() {
    g_exempt = m_was;
}

}  // namespace recording

// The forms that the project uses. Array and over-aligned ones stay the run-time library's.
void* operator new(std::size_t size) {
    return recording::AllocateOrThrow(size);
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return recording::Allocate(size);
}

void operator delete(void* memory) noexcept {
    recording::Free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    recording::Free(memory);
}

void operator delete(void* memory, const std::nothrow_t&) noexcept {
    recording::Free(memory);
}
