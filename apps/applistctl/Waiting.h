// SPDX-License-Identifier: MIT

// What --wait does: go on as soon as the service appears.
//
// Threads: the main thread, whose default sd-event loop runs meanwhile.

#pragma once

#include <chrono>
#include <functional>

#include "apps/applistctl/Options.h"

namespace applist::ctl {

// Runs the loop until `isThere` holds, or the time is over.
void RunLoopUntil(const std::function<bool()>& isThere,
                  std::chrono::steady_clock::time_point deadline);

// Calls `ask`, which asks the service something. If there is no service and the options say to wait
// for one, calls `ask` again as soon as `isThere` says that there is one, and for the last time
// when the time of --timeout is over. Throws what `ask` throws.
void AskService(const Options& options, const std::function<bool()>& isThere,
                const std::function<void()>& ask);

}  // namespace applist::ctl
