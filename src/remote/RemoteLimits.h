// What a partner keeps, sends and waits for. Constants only: any thread.

#pragma once

#include <chrono>
#include <cstddef>

namespace applist {

namespace remote_limits {

// Calls under way. A bus with built-in limits refuses a connection's 129th open call.
constexpr std::size_t kMaxCallsUnderWay = 64;

// Calls that wait to be sent behind those, and their bytes: a large import, not a leak. One alone
// may have any size that the service takes.
constexpr std::size_t kMaxWaitingCalls = 65536;
constexpr std::size_t kMaxWaitingBytes = std::size_t{64} << 20;

// A body in the message itself. Past it a bus may drop the connection; see transport_limits.
constexpr std::size_t kMaxInlineBytes = std::size_t{16} << 20;

// From which body size on a descriptor is faster, measured over dbus-daemon, which copies every
// message twice, and over dbus-broker, which copies it once.
constexpr std::size_t kFdBytesOverDaemon = std::size_t{64} << 10;
constexpr std::size_t kFdBytesOverBroker = std::size_t{2} << 20;

// Requests up to this size are remembered when their replies were large, to ask for those in a
// descriptor the next time.
constexpr std::size_t kMaxRememberedRequest = 64;

constexpr std::chrono::microseconds kDefaultTimeout = std::chrono::seconds(5);

// How often the service's count of notifications is compared with ours: at rest, and after the
// first notification of a burst.
constexpr std::chrono::microseconds kCompareAtRest = std::chrono::seconds(3);
constexpr std::chrono::microseconds kCompareInBurst = std::chrono::milliseconds(100);

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
