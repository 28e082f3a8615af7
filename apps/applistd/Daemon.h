// SPDX-License-Identifier: MIT

// What is the same whatever the daemon publishes: from the command line to the exit status.
//
// Threads: the main thread.

#pragma once

#include <functional>
#include <memory>

#include "apps/applistd/ItemSource.h"
#include "apps/applistd/MainLoop.h"
#include "apps/applistd/Options.h"

namespace applist::daemon {

// Reads the command line, sets up what it says of the log, the limits and the bus, and calls
// `publish`. Returns the exit status. What `publish` throws is told to whoever started the daemon.
int RunDaemon(int argc, char** argv, const std::function<void(const Options&)>& publish);

using MakeSource = std::function<std::unique_ptr<ItemSource>(ItemSource::Listener changed)>;

// Publishes the items of the source that `makeSource` returns, until the loop ends. Throws what
// keeps it from starting, or the loop from going on.
void Serve(const Options& options, MainLoop& loop, const MakeSource& makeSource);

}  // namespace applist::daemon
