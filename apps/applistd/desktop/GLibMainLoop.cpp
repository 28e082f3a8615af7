// SPDX-License-Identifier: MIT

#include "apps/applistd/desktop/GLibMainLoop.h"

#include <stdexcept>

#include "adapters/glib/Loop.h"

namespace applist::daemon {

GLibMainLoop::GLibMainLoop() : m_source(applist_loop_attach(nullptr)) {}

GLibMainLoop::~GLibMainLoop() {
    if (IsAttached()) g_source_remove(m_source);
}

// It is not once the sd-event loop has failed.
bool GLibMainLoop::IsAttached() const {
    return m_source != 0 && g_main_context_find_source_by_id(nullptr, m_source) != nullptr;
}

void GLibMainLoop::Turn() {
    if (!IsAttached()) throw std::runtime_error("the event loop failed");
    g_main_context_iteration(nullptr, TRUE);
}

}  // namespace applist::daemon
