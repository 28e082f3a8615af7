// SPDX-License-Identifier: MIT

#include "remote/RemoteError.h"

#include "common/Joined.h"

namespace applist {

RemoteError::RemoteError(Cause cause, std::string_view endpoint, std::string_view text)
    : RemoteError(cause, Joined({endpoint, ": ", text})) {}

}  // namespace applist
