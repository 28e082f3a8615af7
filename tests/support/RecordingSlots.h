// SPDX-License-Identifier: MIT

// Reads the slot of a virtual operation out of a member-function pointer, the way the Itanium C++
// ABI writes it, which every compiler for Linux follows. The slots are binary interface: whoever
// was built against an older header calls by slot.
//
// Threads: any. Nothing to own.

#pragma once

#include <cstddef>
#include <cstring>

namespace recording {

// Returns the slot of a virtual operation, counted from 0; -1 for one that is not virtual. ARM
// keeps the virtual mark in the adjustment, since bit 0 of a function's address means Thumb there.
template <class Member>
int SlotOf(Member member) {
    std::ptrdiff_t parts[2];
    static_assert(sizeof(member) == sizeof(parts), "not the Itanium C++ ABI");
    std::memcpy(parts, &member, sizeof(parts));
#if defined(__arm__) || defined(__aarch64__)
    const bool isVirtual = (parts[1] & 1) != 0;
    const std::ptrdiff_t offset = parts[0];
#else
    const bool isVirtual = (parts[0] & 1) != 0;
    const std::ptrdiff_t offset = parts[0] - 1;
#endif
    return isVirtual ? static_cast<int>(offset / static_cast<std::ptrdiff_t>(sizeof(void*))) : -1;
}

// A virtual operation that comes after all of Base's.
template <class Base>
class After : public Base {
public:
    virtual void Added() {}
};

// Returns how many slots Base has. A virtual destructor has two, one after the other.
template <class Base>
int SlotsOf() {
    return SlotOf(&After<Base>::Added);
}

}  // namespace recording
