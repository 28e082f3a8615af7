// SPDX-License-Identifier: MIT

// The processes of a freshness run: a list that changes on schedule, and the two kinds of follower,
// each of which logs which version of the list it can see since when.
//
// Each function serves in the calling process until it is killed, writes a byte to `readyFd` when
// it stands, and starts its part of the run when `startFd`, an eventfd, becomes readable: `log`
// says then when the start is. They throw when they cannot come up.
//
// Threads: the caller's default sd-event loop.

#pragma once

#include <string>

#include "FreshLog.h"

namespace bench {

struct FreshPlace {
    std::string address;
    FreshCase plan;
    FreshLog& log;
    int startFd;
};

// LocalAppListModel around a list one item of which is renamed, or whose selection moves on, when
// the schedule says so.
void RunFreshList(const FreshPlace& place, int readyFd);

// RemoteAppListModel, whose listener looks at the replica.
void RunFreshReplica(const FreshPlace& place, int readyFd);

// sd-bus alone: one call for each signal, for the bytes that the replica would ask for. It looks
// for the version in the reply, and keeps nothing.
void RunBareFollower(const FreshPlace& place, int readyFd);

}  // namespace bench
