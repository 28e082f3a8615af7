// SPDX-License-Identifier: MIT

// What becomes of one message to the service.

#pragma once

#include <functional>
#include <optional>
#include <vector>

#include "remote/RemoteError.h"

namespace applist {

// The service's reply, or why there is none.
struct RemoteReply {
    std::vector<char> body;
    std::optional<RemoteError> error;
};

// Called once with the outcome. May move the body out of `reply`.
using ReplyHandler = std::function<void(RemoteReply& reply)>;

}  // namespace applist
