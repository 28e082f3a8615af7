// SPDX-License-Identifier: MIT

// The version of the library: of these headers, for the preprocessor, and of the code that a
// program runs with. From 1.0.0 on they follow semantic versioning; before that, every second
// number may change everything.

#pragma once

#include "common/Export.h"

#define APPLIST_VERSION_MAJOR 0
#define APPLIST_VERSION_MINOR 2
#define APPLIST_VERSION_PATCH 0
#define APPLIST_VERSION "0.2.0"

namespace applist {

// Returns the version of the library that was loaded, "0.2.0", which is never freed.
APPLIST_EXPORT const char* Version();

}  // namespace applist
