// The most that a partner or a bus can make the open transport keep, read or wait for.

#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>

namespace applist {

namespace transport_limits {

// A reply of `Message`, and the body of a notification. A message past the bus's limit gets its
// sender thrown off the bus; the tightest common limit is 32 MiB a message, so half of that is safe
// everywhere.
constexpr std::size_t kMaxReplyBytes = std::size_t{16} << 20;

// A body of `MessageFd`, either way. A list of millions of items fits; a descriptor that holds more
// is a mistake or an attack on our memory. While a request is read, the memfd and a copy of it are
// in memory, besides what the application makes of it; while a reply is made, the same.
constexpr std::size_t kMaxFdBytes = std::size_t{1} << 30;

// Connected partners. Each costs a match on the bus, and a bus may allow only 512 per connection;
// kMostPartners leaves a few of them for other uses.
constexpr std::size_t kMaxPartners = 256;
constexpr std::size_t kMostPartners = 500;

// Messages that may wait in the bus library before ours wait here. Its own bound is some hundred
// thousand, and counts no bytes.
constexpr std::uint64_t kMaxLibraryMessages = 64;

// Notifications that wait here while the bus does not drain: enough for a burst, little enough for
// a small device. The bytes also bound what waits in the library.
constexpr std::size_t kMaxWaitingNotifications = 1024;
constexpr std::size_t kMaxWaitingBytes = std::size_t{256} << 10;

// Calls of one sender that are put off while the bus does not take our replies, and the bytes of
// their bodies. A sender of whom nothing waits may always have one call wait, whatever its size.
// Our own partner keeps one call less under way, and no more bytes, so that it is never refused.
constexpr std::size_t kMaxHeldCalls = 64;
constexpr std::size_t kMaxHeldBytes = std::size_t{1} << 20;

// Senders whose calls wait at the same time. Connections to a bus cost a hostile one nothing, so
// without this bound the two above are none; a device has a handful of partners.
constexpr std::size_t kMaxHeldSenders = 64;

// Bytes of an error text taken from an application's exception.
constexpr std::size_t kMaxErrorText = 1024;

// How long the constructor waits for the bus, at each step, unless the application says otherwise.
constexpr std::chrono::microseconds kStartTimeout = std::chrono::seconds(5);

// How long the destructor waits for the bus to take what was sent.
constexpr std::chrono::microseconds kFlushTimeout = std::chrono::seconds(1);

// When to look for a bus that went away: soon, as most restarts are quick, then twice as late each
// time, as the others take long. The last is also how long one attempt may take.
constexpr std::chrono::microseconds kFirstRetry = std::chrono::milliseconds(100);
constexpr std::chrono::microseconds kLastRetry = std::chrono::seconds(10);

}  // namespace transport_limits

// Those of the limits above that cost memory, for the application to set: lower on a small device,
// higher for a long list. Each starts at the constant that explains it.
struct TransportLimits {
    std::size_t fdBytes = transport_limits::kMaxFdBytes;
    std::size_t partners = transport_limits::kMaxPartners;        // kMostPartners at most
    std::size_t heldBytes = transport_limits::kMaxHeldBytes;      // kMaxHeldBytes at least
    std::size_t heldSenders = transport_limits::kMaxHeldSenders;  // kMostPartners at most
};

// Endpoints and partners that are built from now on keep to `limits`. Throws std::invalid_argument,
// whose text names the one that makes no sense, and then changes nothing.
void SetTransportLimits(const TransportLimits& limits);

// Returns what was set last.
TransportLimits CurrentTransportLimits();

}  // namespace applist
