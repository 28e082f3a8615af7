// What the message of a call carries, and the messages that answer it. Whatever finds no memory
// throws std::bad_alloc.
//
// Threads: the main loop's. Lifetime: a call passed in stays the caller's.

#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "bus/SdBus.h"

namespace applist {

std::string SenderOf(sd_bus_message* call);

// Returns the body of a call whose signature is "ay".
std::vector<char> BodyOf(sd_bus_message* call);

// Reads the body of a call whose signature is "h", `limit` bytes of it at most, into `body`.
// Returns why there is none, in words for the sender; empty when there is.
std::string ReadFdBody(sd_bus_message* call, std::size_t limit, std::vector<char>& body);

// Returns how many bytes of a body wait with `call`, and leaves the body to be read.
std::size_t BodyBytesOf(sd_bus_message* call);

UniqueMessage ReplyTo(sd_bus_message* call);
UniqueMessage ReplyTo(sd_bus_message* call, const std::vector<char>& body);
UniqueMessage FdReplyTo(sd_bus_message* call, const std::vector<char>& body);
UniqueMessage ErrorFor(sd_bus_message* call, const char* name, const std::string& text);

}  // namespace applist
