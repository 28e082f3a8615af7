// SPDX-License-Identifier: MIT

// Publishes a list from a program whose main loop is GLib's: one GSource drives the sd-event loop
// that the transport uses, and GLib sleeps for both.

#include <glib-unix.h>
#include <glib.h>
#include <systemd/sd-event.h>

#include <exception>
#include <iostream>

#include "FixedList.h"
#include "applist/LocalAppListModel.h"

struct SdEventSource {
    GSource base;
    GPollFD descriptor;
    sd_event* event;
};

static sd_event* EventOf(GSource* source) {
    return reinterpret_cast<SdEventSource*>(source)->event;
}

static gboolean Prepare(GSource* source, gint* timeout) {
    *timeout = -1;  // sd-event's timers wake its descriptor
    sd_event* const event = EventOf(source);
    // GLib skips Check when a source of higher priority was ready. The loop is then still armed,
    // and only a wait shows what has arrived meanwhile.
    if (sd_event_get_state(event) == SD_EVENT_ARMED && sd_event_wait(event, 0) != 0) return TRUE;
    return sd_event_prepare(event) != 0;
}

static gboolean Check(GSource* source) {
    return sd_event_wait(EventOf(source), 0) != 0;
}

static gboolean Dispatch(GSource* source, GSourceFunc, gpointer) {
    return sd_event_dispatch(EventOf(source)) > 0 ? G_SOURCE_CONTINUE : G_SOURCE_REMOVE;
}

static void Finalize(GSource* source) {
    sd_event_unref(EventOf(source));
}

static void DriveSdEvent(GMainContext* context) {
    static GSourceFuncs functions = {Prepare, Check, Dispatch, Finalize, nullptr, nullptr};
    GSource* const source = g_source_new(&functions, sizeof(SdEventSource));
    SdEventSource* const own = reinterpret_cast<SdEventSource*>(source);
    sd_event_default(&own->event);
    own->descriptor = {sd_event_get_fd(own->event), G_IO_IN, 0};
    g_source_add_poll(source, &own->descriptor);
    g_source_attach(source, context);
    g_source_unref(source);
}

static gboolean Quit(gpointer loop) {
    g_main_loop_quit(static_cast<GMainLoop*>(loop));
    return G_SOURCE_CONTINUE;
}

int main() try {
    GMainLoop* const loop = g_main_loop_new(nullptr, FALSE);
    DriveSdEvent(g_main_loop_get_context(loop));
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
