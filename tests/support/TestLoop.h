// SPDX-License-Identifier: MIT

// The tests' share of the thread's default sd-event loop, on which endpoints and clients live.
//
// Threads: one. Lifetime: the loop is kept until the process ends, so that what an endpoint leaves
// behind in it can be seen.

#pragma once

#include <systemd/sd-event.h>

#include <chrono>
#include <functional>

// How long anything may take that a test waits for. Far more than it ever takes: only a test that
// fails gets here.
constexpr std::chrono::seconds kTestDeadline{30};

sd_event* TestLoop();

// Runs the loop until `done` says so. Returns false when it has not by the deadline.
bool RunUntil(const std::function<bool()>& done);

// Runs the loop until something can be read from `fd`, its end included. Returns false when there
// was nothing by the deadline.
bool RunUntilReadable(int fd);

// Runs the loop until nothing is ready.
void RunWhatIsReady();
