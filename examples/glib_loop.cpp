// SPDX-License-Identifier: MIT

// Publishes a list from a program whose main loop is GLib's, which runs the sd-event loop that the
// service lives on.

#include <glib-unix.h>
#include <glib.h>

#include <exception>
#include <iostream>

#include "FixedList.h"
#include "adapters/glib/Loop.h"
#include "applist/LocalAppListModel.h"

static gboolean Quit(gpointer loop) {
    g_main_loop_quit(static_cast<GMainLoop*>(loop));
    return G_SOURCE_CONTINUE;
}

int main() try {
    GMainLoop* const loop = g_main_loop_new(nullptr, FALSE);
    applist_loop_attach(nullptr);  // to GLib's default context
    g_unix_signal_add(SIGTERM, Quit, loop);
    g_unix_signal_add(SIGINT, Quit, loop);

    FixedList list{{"Maps", "maps"}, {"Music", "music"}, {"Phone", "phone"}};
    LocalAppListModel service(&list);
    g_main_loop_run(loop);
    g_main_loop_unref(loop);
    return 0;
} catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 1;
}
