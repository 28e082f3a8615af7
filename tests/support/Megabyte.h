// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>

constexpr std::size_t kMegabyte = std::size_t{1} << 20;
