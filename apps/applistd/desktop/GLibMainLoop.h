// SPDX-License-Identifier: MIT

// The daemon's main loop with GLib's around it, on which GIO reports installed applications.
//
// Threads and lifetime: as MainLoop.

#pragma once

#include <glib.h>

#include <memory>

#include "apps/applistd/MainLoop.h"

namespace applist::daemon {

class GLibMainLoop : public MainLoop {
public:
    // Throws as MainLoop does.
    GLibMainLoop();
    ~GLibMainLoop() override;

private:
    struct Free {
        void operator()(gchar* text) const { g_free(text); }
    };

    static void OnWarning(const gchar* domain, GLogLevelFlags level, const gchar* text,
                          gpointer userdata);
    bool IsAttached() const;
    void Turn() override;

    std::unique_ptr<gchar, Free> m_warning;  // the last one
    const guint m_source;
    const guint m_warnings;
};

}  // namespace applist::daemon
