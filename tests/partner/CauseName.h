// SPDX-License-Identifier: MIT

// Causes of a partner's failures, in words. Any thread: plain values.

#pragma once

#include <string>

#include "partner/RemoteAppListModel.h"

std::string NameOf(applist::RemoteError::Cause cause);

// The cause that `model`'s Synchronize throws, in words; "" when it returns.
std::string CauseOfSynchronize(applist::RemoteAppListModel& model);
