// SPDX-License-Identifier: MIT

// What a person gives a program to read: a file, or standard input.

#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>

#include "bus/TransportLimits.h"

namespace applist {

// Says what is wrong with the input and what to do, in one line.
class InputError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The most that one message carries besides the four bytes of its function's number.
constexpr std::size_t kMaxText = transport_limits::kMaxFdBytes - 4;

// What error messages call `path`: "standard input" for "-".
std::string SourceName(const std::string& path);

// Returns all bytes of the file at `path`, or of standard input when that is "-".
// Throws InputError when it cannot be read, or as soon as there are more than `limit` bytes.
std::string ReadText(const std::string& path, std::size_t limit = kMaxText);

}  // namespace applist
