// SPDX-License-Identifier: MIT

#include "support/HeapInUse.h"

#if defined(__SANITIZE_ADDRESS__)
#define HEAP_OF_SANITIZER
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define HEAP_OF_SANITIZER
#endif
#endif

#if defined(HEAP_OF_SANITIZER)

// Not every compiler ships the header that declares it.
extern "C" std::size_t __sanitizer_get_current_allocated_bytes();

std::size_t HeapInUse() {
    return __sanitizer_get_current_allocated_bytes();
}

#else

#include <malloc.h>

std::size_t HeapInUse() {
    const struct mallinfo2 heap = mallinfo2();
    return heap.uordblks + heap.hblkhd;
}

#endif
