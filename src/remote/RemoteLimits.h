// What a partner keeps, sends and waits for. Constants only: any thread.

#pragma once

#include <chrono>
#include <cstddef>

namespace applist {

namespace remote_limits {

// Calls under way, and the bytes of their requests; one alone may have any size. A service that its
// bus holds up keeps 64 calls and 1 MiB of one sender's, the call of Connect included, and refuses
// what comes after: a partner that stays below never finds a hole in the middle of what it wrote.
constexpr std::size_t kMaxCallsUnderWay = 63;
constexpr std::size_t kMaxBytesUnderWay = std::size_t{1} << 20;

// Calls that wait to be sent behind those, and their bytes: a large import, not a leak. One alone
// may have any size that the service takes.
constexpr std::size_t kMaxWaitingCalls = 65536;
constexpr std::size_t kMaxWaitingBytes = std::size_t{64} << 20;

// Messages that may wait in the bus library when a notification is sent; past it that is dropped.
constexpr std::size_t kMaxQueuedMessages = 64;

// A body in the message itself. Past it a bus may drop the connection; see transport_limits.
constexpr std::size_t kMaxInlineBytes = std::size_t{16} << 20;

// From which body size on a descriptor is used. Reading a list of this size takes as long with one
// as without, within a tenth, over dbus-daemon, which copies every message twice, and over
// dbus-broker, which copies it once.
constexpr std::size_t kFdBytes = std::size_t{40} << 10;

// Requests up to this size are remembered when their replies were large, to ask for those in a
// descriptor the next time.
constexpr std::size_t kMaxRememberedRequest = 64;

constexpr std::chrono::microseconds kDefaultTimeout = std::chrono::seconds(5);

// When the service's count of notifications is compared with ours: so long after the last
// notification of a burst, and so often at least.
constexpr std::chrono::microseconds kCompareAfterBurst = std::chrono::milliseconds(100);
constexpr std::chrono::microseconds kCompareAtRest = std::chrono::seconds(3);

// How long a comparison may take. A service that was stopped answers it when it goes on, and that
// is how we learn of it.
constexpr std::chrono::microseconds kCompareTimeout = std::chrono::seconds(60);

// How long after an attempt, at most, a bus that went away is looked for again: what it brings back
// is to be shown soon.
constexpr std::chrono::microseconds kLastRetry = std::chrono::seconds(1);

// Longer than anybody waits, and within what a time point can hold.
constexpr std::chrono::microseconds kMaxTimeout = std::chrono::hours(24);

// How long destruction waits for the bus to take what was posted.
constexpr std::chrono::microseconds kFlushTimeout = std::chrono::seconds(1);

}  // namespace remote_limits

}  // namespace applist
