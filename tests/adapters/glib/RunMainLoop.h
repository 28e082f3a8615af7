// SPDX-License-Identifier: MIT

#pragma once

#include <functional>

// Runs GLib's default main context until `done` says so. Returns false when it has not by the
// tests' deadline.
bool RunMainLoopUntil(const std::function<bool()>& done);
