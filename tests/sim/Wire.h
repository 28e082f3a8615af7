// SPDX-License-Identifier: MIT

// Messages in the D-Bus wire format (little endian), as far as a bus looks into them. Written by
// hand and not with the bus library, which is under test.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "sim/FdList.h"

namespace sim {

enum class MessageType : std::uint8_t { Call = 1, Return = 2, Error = 3, Signal = 4 };

struct WireMessage {
    MessageType type = MessageType::Call;
    std::uint8_t flags = 0;
    std::uint32_t serial = 0;
    std::uint32_t replySerial = 0;
    std::uint32_t fdCount = 0;
    std::string path;
    std::string interface;
    std::string member;
    std::string error;
    std::string destination;
    std::string sender;
    std::string signature;
    std::string body;
    FdList fds;

    bool WantsReply() const { return type == MessageType::Call && (flags & kNoReply) == 0; }

    static constexpr std::uint8_t kNoReply = 1;
};

std::string Serialized(const WireMessage& message);

// Returns the size of the message that `bytes` begins with, 0 when not all of it is there yet.
std::size_t SizeOfFirst(const std::string& bytes);

// Reads the message of `size` bytes that `bytes` begins with. Returns false for nonsense.
bool Parse(const std::string& bytes, std::size_t size, WireMessage& message);

// The strings that the body begins with.
std::vector<std::string> StringsOf(const WireMessage& message);

// Bodies.
std::string BodyOf(const std::vector<std::string>& strings);
std::string BodyOf(std::uint32_t number);
std::string ByteArrayBody(const std::string& bytes);

}  // namespace sim
