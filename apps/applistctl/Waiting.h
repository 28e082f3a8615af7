// --wait: going on when the service appears. Threads: the main thread, whose default sd-event loop
// is used meanwhile.

#pragma once

#include <functional>

#include "apps/applistctl/Options.h"

namespace applist::ctl {

// Calls `ask`, which asks the service something. When there is no service and the options say to
// wait for it, calls it again as soon as `isThere` says that there is one; once more, and for the
// last time, when the time of the options is over. Throws what `ask` throws.
void AskService(const Options& options, const std::function<bool()>& isThere,
                const std::function<void()>& ask);

}  // namespace applist::ctl
