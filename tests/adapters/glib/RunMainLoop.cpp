// SPDX-License-Identifier: MIT

#include "adapters/glib/RunMainLoop.h"

#include <glib.h>

#include "support/TestLoop.h"

bool RunMainLoopUntil(const std::function<bool()>& done) {
    bool isLate = false;
    const auto note = [](gpointer late) -> gboolean {
        *static_cast<bool*>(late) = true;
        return G_SOURCE_CONTINUE;
    };
    const auto deadline = std::chrono::milliseconds(kTestDeadline).count();
    const guint timer = g_timeout_add(static_cast<guint>(deadline), note, &isLate);
    while (!done() && !isLate) g_main_context_iteration(nullptr, TRUE);
    g_source_remove(timer);
    return !isLate;
}
