// SPDX-License-Identifier: MIT

// How much a partner keeps and sends, and how long it waits.

#pragma once

#include <chrono>
#include <cstddef>

#include "bus/TransportLimits.h"

namespace applist {

namespace remote_limits {

// Calls under way, and the bytes of their requests; a single one may have any size. A service keeps
// so many calls and bytes of each sender waiting and refuses what comes after. Connect is one of
// those calls, and so is the one that is waited for when the last calls are sent. A partner that
// stays below that never loses a write from the middle of a series, unless calls before it were
// given up for want of an answer.
constexpr std::size_t kMaxCallsUnderWay = transport_limits::kMaxHeldCalls - 2;
constexpr std::size_t kMaxBytesUnderWay = transport_limits::kMaxHeldBytes;

// Calls that wait to be sent behind those, and their bytes: enough for a large import, but not for
// a leak. A single one may have any size that the service takes.
constexpr std::size_t kMaxWaitingCalls = 65536;
constexpr std::size_t kMaxWaitingBytes = std::size_t{64} << 20;

// Messages that may wait in the bus library when a notification is sent. With more, it is dropped.
constexpr std::size_t kMaxQueuedMessages = 64;

// The largest body in the message itself. A bus may close the connection over a larger one.
constexpr std::size_t kMaxInlineBytes = transport_limits::kMaxRequestBytes;

// Bodies larger than this go in a descriptor. At this size reading a list takes as long with one as
// without, within a tenth, both over dbus-daemon, which copies every message twice, and over
// dbus-broker, which copies it once.
constexpr std::size_t kFdBytes = std::size_t{40} << 10;

// A request up to this size is remembered when its reply was large, so that the next reply to it is
// asked for in a descriptor. Only reads have large replies, and they are shorter than this.
constexpr std::size_t kMaxRememberedRequest = 64;

constexpr std::chrono::microseconds kDefaultTimeout = std::chrono::seconds(5);

// When the service's count of notifications is compared with ours: this long after the last
// notification of a burst, and at least this often.
constexpr std::chrono::microseconds kCompareAfterBurst = std::chrono::milliseconds(100);
constexpr std::chrono::microseconds kCompareAtRest = std::chrono::seconds(3);

// How long the answer to that may take. A service that was stopped gives it when it continues,
// which is how we learn that it does.
constexpr std::chrono::microseconds kCompareTimeout = std::chrono::seconds(60);

// How long the first answer may take before a direct channel is asked for all the same. A service
// that runs needs a few milliseconds, and a large list some tens of them.
constexpr std::chrono::microseconds kChannelPatience = std::chrono::milliseconds(100);

// How long a direct channel may take, from asking for one to the first answer over it. A service
// that runs needs a few milliseconds; the partner is not reported as connected before.
constexpr std::chrono::microseconds kChannelTimeout = std::chrono::seconds(1);

// How long reading what a service that has left wrote into its channel may take. It is there and
// has an end, unless the service is hostile.
constexpr std::chrono::microseconds kLastWordsTimeout = std::chrono::seconds(1);

// When a service had no place for a partner, how long until it is asked again: at first, and after
// many refusals. A place is free when another partner leaves, which may be soon or never.
constexpr std::chrono::microseconds kFirstPlacePause = std::chrono::seconds(1);
constexpr std::chrono::microseconds kLastPlacePause = std::chrono::seconds(8);

// When a service refuses one of the last calls, how long until it is sent again: at first, and
// after some refusals.
constexpr std::chrono::microseconds kFirstRefusalPause = std::chrono::milliseconds(1);
constexpr std::chrono::microseconds kLastRefusalPause = std::chrono::milliseconds(100);

// The longest pause before looking again for a bus that went away. A user is waiting to see what
// comes back with it.
constexpr std::chrono::microseconds kLastRetry = std::chrono::seconds(1);

// Longer than anybody waits, and short enough to be added to any time.
constexpr std::chrono::microseconds kMaxTimeout = std::chrono::hours(24);

// How long destruction waits for the bus to take what was posted.
constexpr std::chrono::microseconds kFlushTimeout = std::chrono::seconds(1);

}  // namespace remote_limits

}  // namespace applist
