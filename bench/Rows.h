// SPDX-License-Identifier: MIT

// The list as most would send it: one method that answers a(ss), a row of visible name and unique
// id for each item, written once on sd-bus and once on GDBus, each the way its manual shows.
//
// Both services, like the one of PartnerLists.h, have two lists that share no item, and show the
// other one at each call: whoever reads finds everything replaced.
//
// Threads: one; GDBus adds its own, so a process forks before it uses that. Lifetime: a reader goes
// before its bus.

#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "BareBus.h"
#include "ByHand.h"

namespace bench {

// Two lists of `count` items each, always the same ones, that share none.
struct TwoLists {
    explicit TwoLists(std::size_t count);

    // The two in turns.
    const std::vector<PlainItem>& Next() { return lists[++reads % 2]; }

    std::vector<PlainItem> lists[2];
    std::size_t reads = 0;
};

// Each serves lists of `count` items in the calling process until it is killed, and writes a byte
// to `readyFd` when it can be called. They throw std::runtime_error when they cannot come up.
void RunSdBusRows(const std::string& address, std::size_t count, int readyFd);
void RunGDBusRows(const std::string& address, std::size_t count, int readyFd);

class SdBusReader {
public:
    explicit SdBusReader(const std::string& address) : m_bus(OpenBus(address)) {}

    // Replaces `items` by what the service answers. Throws std::runtime_error.
    void Read(std::vector<PlainItem>& items);

private:
    applist::UniqueBus m_bus;
};

class GDBusReader {
public:
    // Throws std::runtime_error.
    explicit GDBusReader(const std::string& address);
    ~GDBusReader();

    GDBusReader(const GDBusReader&) = delete;
    GDBusReader& operator=(const GDBusReader&) = delete;

    // Replaces `items` by what the service answers. Throws std::runtime_error.
    void Read(std::vector<PlainItem>& items);

private:
    struct Connection;
    std::unique_ptr<Connection> m_connection;
};

}  // namespace bench
