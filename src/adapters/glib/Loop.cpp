// SPDX-License-Identifier: MIT

// What GLib calls, and when, depends on the other sources of the context; and another context may
// run the same loop in between. So each function looks at the state that the loop is in.

#include "adapters/glib/Loop.h"

#include <systemd/sd-event.h>

namespace {

struct LoopSource {
    GSource base;
    sd_event* event;
};

sd_event* EventOf(GSource* source) {
    return reinterpret_cast<LoopSource*>(source)->event;
}

// Whether there is something to dispatch; an error, too, is for Dispatch.
bool IsReady(sd_event* event) {
    // Prepared in an iteration in which GLib did not come to Check, as a source of higher priority
    // was ready. Only a wait shows what has arrived since.
    if (sd_event_get_state(event) == SD_EVENT_ARMED && sd_event_wait(event, 0) != 0) return true;
    if (sd_event_get_state(event) == SD_EVENT_PENDING) return true;
    return sd_event_get_state(event) == SD_EVENT_INITIAL && sd_event_prepare(event) != 0;
}

gboolean Prepare(GSource* source, gint* timeout) {
    *timeout = -1;  // sd-event's timers wake its descriptor
    sd_event* const event = EventOf(source);
    return sd_event_get_state(event) == SD_EVENT_FINISHED || IsReady(event);
}

gboolean Check(GSource* source) {
    sd_event* const event = EventOf(source);
    if (sd_event_get_state(event) == SD_EVENT_ARMED) return sd_event_wait(event, 0) != 0;
    return sd_event_get_state(event) == SD_EVENT_PENDING;
}

gboolean Dispatch(GSource* source, GSourceFunc, gpointer) {
    sd_event* const event = EventOf(source);
    // Somebody else has dispatched it since Check.
    if (sd_event_get_state(event) == SD_EVENT_INITIAL) return G_SOURCE_CONTINUE;
    return sd_event_dispatch(event) > 0 ? G_SOURCE_CONTINUE : G_SOURCE_REMOVE;
}

void Finalize(GSource* source) {
    sd_event_unref(EventOf(source));
}

GSourceFuncs g_functions = {Prepare, Check, Dispatch, Finalize, nullptr, nullptr};

// Takes over the reference to the loop.
guint Attach(sd_event* event, GMainContext* context) {
    GSource* const source = g_source_new(&g_functions, sizeof(LoopSource));
    reinterpret_cast<LoopSource*>(source)->event = event;
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
