// SPDX-License-Identifier: MIT

// How much of the heap this process uses. Any thread.

#pragma once

#include <cstddef>

// Bytes that are allocated and not freed, in this process as a whole.
std::size_t HeapInUse();
