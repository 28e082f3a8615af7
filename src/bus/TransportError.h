// SPDX-License-Identifier: MIT

// What an endpoint throws when it cannot do what it was built for. The text is one line that names
// the bus or the endpoint and the cause and, where there is something to do, what that is.

#pragma once

#include <stdexcept>

#include "common/Export.h"

namespace applist {

class APPLIST_EXPORT TransportError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace applist
