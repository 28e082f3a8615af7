// SPDX-License-Identifier: MIT

// The most that a partner or a bus can make the open transport keep, read or wait for.

#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>

#include "common/Export.h"

namespace applist {

namespace transport_limits {

// A reply of `Message`, and the body of a notification. A message past the bus's limit gets its
// sender thrown off the bus; the tightest common limit is 32 MiB a message, so half of that is safe
// everywhere.
constexpr std::size_t kMaxReplyBytes = std::size_t{16} << 20;

// The body of a reply of `MessageFd`. A list of millions of items fits; a descriptor that holds
// more is a mistake or an attack on our memory. While a reply is made or read, the memfd and a copy
// of it are in memory.
constexpr std::size_t kMaxFdBytes = std::size_t{1} << 30;

// The body of a request, in the message and in a descriptor. A partner gets no more than this many
// bytes read by one call, and the service has them three times while it makes items of them. A
// million items of the usual size fit a descriptor; whoever has more adds them in several calls.
constexpr std::size_t kMaxRequestBytes = std::size_t{16} << 20;
constexpr std::size_t kMaxFdRequestBytes = std::size_t{64} << 20;

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

// Calls of one sender that wait for their turn, or for the bus to take our replies, and the bytes
// of their bodies. A sender of whom nothing waits may always have one call wait, whatever its size.
// Our own partner keeps two calls less under way, and no more bytes, so that it is not refused.
constexpr std::size_t kMaxHeldCalls = 64;
constexpr std::size_t kMaxHeldBytes = std::size_t{1} << 20;

// Calls of all senders on one connection that are larger than that by themselves. In messages they
// take at most this many times kMaxRequestBytes of our memory.
constexpr std::size_t kMaxLargeCalls = 8;

// Senders whose calls wait at the same time. Connections to a bus cost a hostile one nothing, so
// without this bound the two above are none; a device has a handful of partners.
constexpr std::size_t kMaxHeldSenders = 64;

// Messages that are read before a call is taken from those that wait, so that whoever has sent much
// is known before its turn comes: several times what one sender may have waiting.
constexpr std::size_t kReadAhead = 4 * kMaxHeldCalls;

// How long after something was sent the bus is asked whether it has taken it, and how long each of
// two questions may be without an answer. Far more than a bus needs, and five seconds together, so
// that nobody waits for ten.
constexpr std::chrono::microseconds kProbeDelay = std::chrono::seconds(1);
constexpr std::chrono::microseconds kProbePatience = std::chrono::seconds(2);

// What one partner may get between two answers of the bus, for some time after replies that nobody
// read have filled it: an eighth of what a bus with built-in limits keeps for one connection, which
// is 64 descriptors or 127 MiB. So each descriptor counts for two mebibytes.
constexpr std::size_t kRation = std::size_t{16} << 20;
constexpr std::size_t kDescriptorInRation = std::size_t{2} << 20;
constexpr std::chrono::microseconds kRationing = std::chrono::minutes(1);

// How long calls may take together until the bus is asked whether it has others for us. So asking,
// which takes a tenth of that, costs little; and a call in the bus waits little longer than the one
// that is executed.
constexpr std::chrono::microseconds kTurnTime = std::chrono::milliseconds(1);

// Direct channels. Each has a queue of its own and two buffers in the kernel.
constexpr std::size_t kMaxChannels = 64;

// How long a partner may take from its request for a channel to its first call over it. A partner
// needs milliseconds; one that has died with the descriptor in its hands leaves no other trace.
constexpr std::chrono::microseconds kChannelConfirmation = std::chrono::seconds(5);

// How long what a partner has sent before it left the bus may take to be executed. A socket holds a
// few hundred calls.
constexpr std::chrono::microseconds kChannelFarewell = std::chrono::seconds(5);

// What the kernel keeps of what a peer has not read, before it counts its own costs twice: as much
// as a bus's socket would.
constexpr int kChannelSendBuffer = 64 << 10;

// Descriptors in replies that a partner has not read from its channel, and what they hold, before
// it gets another one. All channels together stay below the number of descriptors that a user may
// have on the way, 1,024 as a rule; beyond that nothing of the user's can send one.
constexpr std::size_t kMaxUnreadFds = 8;
constexpr std::size_t kMaxUnreadFdBytes = std::size_t{256} << 10;

// Descriptors that must be free for a call to wait, if the process may have twice as many. A
// message may bring 253, whatever its signature says, and the bus library tells nobody how many
// they are; one that finds no room for them ends the connection.
constexpr std::size_t kSpareDescriptors = 512;

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
    std::size_t fdBytes = transport_limits::kMaxFdBytes;          // of a reply
    std::size_t partners = transport_limits::kMaxPartners;        // kMostPartners at most
    std::size_t heldBytes = transport_limits::kMaxHeldBytes;      // kMaxHeldBytes at least
    std::size_t heldSenders = transport_limits::kMaxHeldSenders;  // kMostPartners at most
    std::size_t requestBytes = transport_limits::kMaxRequestBytes;
    std::size_t fdRequestBytes = transport_limits::kMaxFdRequestBytes;
    std::size_t channels = transport_limits::kMaxChannels;  // kMaxChannels at most; 0 for none
};

// Throws std::invalid_argument, whose text names the one that makes no sense, if there is one.
APPLIST_EXPORT void CheckTransportLimits(const TransportLimits& limits);

// Endpoints and partners that are built from now on keep to `limits`. Throws what the check throws,
// and then changes nothing.
APPLIST_EXPORT void SetTransportLimits(const TransportLimits& limits);

// Returns what was set last.
APPLIST_EXPORT TransportLimits CurrentTransportLimits();

}  // namespace applist
