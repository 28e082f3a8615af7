// SPDX-License-Identifier: MIT

// What GLib calls, and when, depends on the other sources of the context; and another context may
// run the same loop in between. So each function looks at the state that the loop is in.

#include "adapters/glib/Loop.h"

#include <systemd/sd-event.h>

namespace {

struct LoopSource {
    GSource base;
    sd_event* event;
    int error;  // what broke the sd-event loop, a negative errno
};

LoopSource* LoopOf(GSource* source) {
    return reinterpret_cast<LoopSource*>(source);
}

sd_event* EventOf(GSource* source) {
    return LoopOf(source)->event;
}

// Whether sd-event wants to be dispatched, from what it has answered. An error counts as well, so
// that Dispatch ends this; sd-event would tell it of another one, that it was not ready.
bool IsReady(GSource* source, int answer) {
    if (answer < 0) LoopOf(source)->error = answer;
    return answer != 0;
}

gboolean Prepare(GSource* source, gint* timeout) {
    *timeout = -1;  // sd-event's timers wake its descriptor
    sd_event* const event = EventOf(source);
    // Prepared in an iteration in which GLib did not come to Check, as a source of higher priority
    // was ready. Only a wait shows what has arrived since.
    if (sd_event_get_state(event) == SD_EVENT_ARMED && IsReady(source, sd_event_wait(event, 0))) {
        return TRUE;
    }
    const int state = sd_event_get_state(event);
    if (state == SD_EVENT_INITIAL) return IsReady(source, sd_event_prepare(event));
    return state == SD_EVENT_PENDING || state == SD_EVENT_FINISHED;
}

gboolean Check(GSource* source) {
    sd_event* const event = EventOf(source);
    const int state = sd_event_get_state(event);
    if (state == SD_EVENT_ARMED) return IsReady(source, sd_event_wait(event, 0));
    return state == SD_EVENT_PENDING;
}

gboolean Dispatch(GSource* source, GSourceFunc, gpointer) {
    const int error = LoopOf(source)->error;
    sd_event* const event = EventOf(source);
    const int state = sd_event_get_state(event);
    if (state == SD_EVENT_FINISHED) return G_SOURCE_REMOVE;
    // Somebody else has dispatched it since Check, or does so now; or its descriptor was readable
    // for nothing.
    if (error == 0 && state != SD_EVENT_PENDING) return G_SOURCE_CONTINUE;
    const int result = error != 0 ? error : sd_event_dispatch(event);
    if (result > 0) return G_SOURCE_CONTINUE;
    if (result < 0) {
        g_log("applist", G_LOG_LEVEL_WARNING, "the sd-event loop failed, and stands: %s",
              g_strerror(-result));
    }
    return G_SOURCE_REMOVE;
}

void Finalize(GSource* source) {
    sd_event_unref(EventOf(source));
}

GSourceFuncs g_functions = {Prepare, Check, Dispatch, Finalize, nullptr, nullptr};

// Takes over the reference to the loop.
guint Attach(sd_event* event, GMainContext* context) {
    GSource* const source = g_source_new(&g_functions, sizeof(LoopSource));
    LoopOf(source)->event = event;
    g_source_set_name(source, "applist: sd-event");
    // By this it is found again; GLib calls nothing but Dispatch.
    g_source_set_callback(source, nullptr, event, nullptr);
    g_source_add_unix_fd(source, sd_event_get_fd(event), G_IO_IN);
    const guint id = g_source_attach(source, context);
    g_source_unref(source);
    return id;
}

}  // namespace

guint applist_loop_attach(GMainContext* context) {
    sd_event* event = nullptr;
    if (sd_event_default(&event) < 0) return 0;
    GSource* const there =
        g_main_context_find_source_by_funcs_user_data(context, &g_functions, event);
    if (there == nullptr) return Attach(event, context);
    sd_event_unref(event);
    return g_source_get_id(there);
}
