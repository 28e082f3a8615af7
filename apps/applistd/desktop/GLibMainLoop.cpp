// SPDX-License-Identifier: MIT

#include "apps/applistd/desktop/GLibMainLoop.h"

#include <cerrno>

#include "adapters/glib/Loop.h"
#include "apps/applistd/Checked.h"

namespace applist::daemon {

GLibMainLoop::GLibMainLoop() : m_source(applist_loop_attach(nullptr)) {
    Checked(m_source == 0 ? -ENOMEM : 0, "cannot let GLib run the event loop");
}

GLibMainLoop::~GLibMainLoop() {
    if (IsAttached()) g_source_remove(m_source);
}

// It is not once the sd-event loop has failed. A warning of GLib's has said why.
bool GLibMainLoop::IsAttached() const {
    return g_main_context_find_source_by_id(nullptr, m_source) != nullptr;
}

void GLibMainLoop::Turn() {
    g_main_context_iteration(nullptr, TRUE);
    Checked(IsAttached() ? 0 : -EIO, "the event loop failed");
}

}  // namespace applist::daemon
