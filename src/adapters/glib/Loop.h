// SPDX-License-Identifier: MIT

// Lets a GLib main loop, and so GTK's, run what services and partners wait for: they live on the
// thread's default sd-event loop, which nobody runs in such a program. For C and C++.
//
// Threads: each has an sd-event loop of its own. Call it on the thread of your services and
// partners, which is to be the one that runs the main context.

#pragma once

#include <glib.h>

#include "common/Export.h"

G_BEGIN_DECLS

// Makes `context`, or the global default one when it is NULL, run the calling thread's default
// sd-event loop. Returns the id of the source that does; when there is one in that context already,
// its id, and nothing changes. Returns 0 when sd-event has no loop for the thread: after a fork, or
// without memory.
//
// It runs with G_PRIORITY_DEFAULT, one event in each iteration; g_source_set_priority changes that.
// It ends by itself when the sd-event loop does (sd_event_exit) or fails, which a g_warning tells
// of, and g_source_remove ends it before. A main loop that is run from inside a listener serves
// everything but the list, until it returns; one that is run from any other callback serves the
// list too.
APPLIST_EXPORT guint applist_loop_attach(GMainContext* context);

G_END_DECLS
