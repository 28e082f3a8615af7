// SPDX-License-Identifier: MIT

#include "apps/applistd/desktop/GLibMainLoop.h"

#include <cerrno>
#include <stdexcept>

#include "adapters/glib/Loop.h"
#include "apps/applistd/Checked.h"

namespace applist::daemon {

GLibMainLoop::GLibMainLoop()
    : m_source(applist_loop_attach(nullptr)),
      m_warnings(g_log_set_handler("applist", G_LOG_LEVEL_WARNING, OnWarning, this)) {
    if (m_source != 0) return;
    g_log_remove_handler("applist", m_warnings);
    Checked(-ENOMEM, "cannot let GLib run the event loop");
}

GLibMainLoop::~GLibMainLoop() {
    g_log_remove_handler("applist", m_warnings);
    if (IsAttached()) g_source_remove(m_source);
}

// Kept for the one line that the daemon ends with.
void GLibMainLoop::OnWarning(const gchar*, GLogLevelFlags, const gchar* text, gpointer userdata) {
    static_cast<GLibMainLoop*>(userdata)->m_warning.reset(g_strdup(text));
}

// It is not once the sd-event loop has failed.
bool GLibMainLoop::IsAttached() const {
    return g_main_context_find_source_by_id(nullptr, m_source) != nullptr;
}

void GLibMainLoop::Turn() {
    g_main_context_iteration(nullptr, TRUE);
    if (IsAttached()) return;
    throw std::runtime_error(m_warning ? m_warning.get() : "the event loop has ended");
}

}  // namespace applist::daemon
