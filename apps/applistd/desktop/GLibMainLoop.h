// SPDX-License-Identifier: MIT

// The daemon's main loop with GLib's around it, on which GIO reports installed applications.
//
// Threads and lifetime: as MainLoop.

#pragma once

#include <glib.h>

#include "apps/applistd/MainLoop.h"

namespace applist::daemon {

class GLibMainLoop : public MainLoop {
public:
    // Throws as MainLoop does.
    GLibMainLoop();
    ~GLibMainLoop() override;

private:
    struct EventSource;

    // The GSource that carries the sd-event loop: GLib's three steps are sd-event's.
    static gboolean Prepare(GSource* source, gint* timeout);
    static gboolean Check(GSource* source);
    static gboolean Dispatch(GSource* source, GSourceFunc callback, gpointer data);

    void Turn() override;
    // Whether sd-event wants to be dispatched, from what it has answered.
    bool IsReady(int result);

    GSource* m_source = nullptr;
    int m_error = 0;  // what broke the sd-event loop, a negative errno
};

}  // namespace applist::daemon
