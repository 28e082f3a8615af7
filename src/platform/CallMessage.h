// SPDX-License-Identifier: MIT

// What the message of a call carries, and the messages that answer it. Every function throws
// std::bad_alloc when memory runs out.
//
// Lifetime: a call passed in stays the caller's.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "bus/SdBus.h"
#include "bus/SealedMemfd.h"

namespace applist {

// Returns the unique bus name of the caller; empty for a message that came without a bus.
std::string SenderOf(sd_bus_message* call);

// Returns the body of a call whose signature is "ay": bytes of the message, and how many.
std::pair<const char*, std::size_t> BytesOf(sd_bus_message* call);

// Reads the body of a call whose signature is "h", `limit` bytes of it at most, into `body`.
// Returns what is wrong with it, in words for the sender; empty when it was read.
std::string ReadFdBody(sd_bus_message* call, std::size_t limit, std::vector<char>& body);

// Returns how many bytes the body of `call` holds, a memfd's included, and leaves it to be read.
std::uint64_t BodyBytesOf(sd_bus_message* call);

// Return the answer to `call`: without a body, or an error.
UniqueMessage ReplyTo(sd_bus_message* call);
UniqueMessage ErrorFor(sd_bus_message* call, const char* name, const std::string& text);

// Gives an answer its body, which comes once. Returns false, and does not throw, when there is no
// memory for it; the answer is of no use then.
bool SetBody(const UniqueMessage& reply, const std::vector<char>& body);

// An answer whose body comes in a memfd. The descriptors, which may be lacking, are there from the
// beginning.
class FdReply {
public:
    // Throws std::system_error, too, when there is no descriptor.
    explicit FdReply(sd_bus_message* call);

    // Returns the answer with `body`, or nothing when there is no memory for that. An empty body
    // needs none.
    UniqueMessage With(const std::vector<char>& body) &&;

private:
    const OwnedFd m_fd;
    UniqueMessage m_message;
};

}  // namespace applist
