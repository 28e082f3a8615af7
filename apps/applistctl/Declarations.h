// SPDX-License-Identifier: MIT

// The commands and options that the tool has, as its help lists them.

#pragma once

#include "apps/applistctl/Options.h"

namespace CLI {
class App;
}

namespace applist::ctl {

// Declares all of them in `app`, which writes what it reads into `options`. That must outlive it.
void Declare(CLI::App& app, Options& options);

}  // namespace applist::ctl
