// SPDX-License-Identifier: MIT

#include "applist/version.h"

namespace applist {

const char* Version() {
    return APPLIST_VERSION;
}

}  // namespace applist
