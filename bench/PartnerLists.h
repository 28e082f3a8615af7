// SPDX-License-Identifier: MIT

// The lists that a partner follows in its benchmarks, each served by LocalAppListModel on the open
// transport, in a process of its own.
//
// Each serves in the calling process until it is killed, and writes a byte to
// `readyFd` when it can be called. They throw when they cannot come up.
//
// Threads: the caller's default sd-event loop. Lifetime: see BurstTally.

#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "ByHand.h"

namespace bench {

// A list whose items have all been replaced each time that it is read: the lists of TwoLists(count)
// in turns.
void RunReplacedList(const std::string& address, std::size_t count, int readyFd);

// A list with nothing in it but what partners add after they have removed all.
void RunEditedList(const std::string& address, int readyFd);

// The same, and whenever a partner sets the selection, an item of it is clicked: `clickedAt` is
// when on the clock of NowNanoseconds.
void RunClickedList(const std::string& address, std::atomic<std::int64_t>& clickedAt, int readyFd);

// What a burst's two processes tell each other besides what goes over the bus. Lies in memory that
// both share, so it is made before the fork.
struct BurstTally {
    std::atomic<int> reads{0};  // of the whole list: calls of 2002
    // Of std::chrono::steady_clock.
    std::atomic<std::int64_t> firstChangeNanoseconds{0};
    std::atomic<std::int64_t> lastChangeNanoseconds{0};
};

constexpr std::size_t kBurstItems = 100;
constexpr int kBurstChanges = 10000;

// A list of kBurstItems items, of which kBurstChanges are replaced, one by one, `gap` after each
// other, or each in the next turn of the loop when that is 0, once a partner sets the selection.
void RunBurstList(const std::string& address, BurstTally& tally, std::chrono::microseconds gap,
                  int readyFd);

// Returns the list after `bursts` bursts, at least one.
std::vector<PlainItem> ListAfterBursts(int bursts);

}  // namespace bench
