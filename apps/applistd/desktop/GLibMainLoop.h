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
    bool IsAttached() const;
    void Turn() override;

    const guint m_source;
};

}  // namespace applist::daemon
