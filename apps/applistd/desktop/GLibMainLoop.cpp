// SPDX-License-Identifier: MIT

#include "apps/applistd/desktop/GLibMainLoop.h"

#include "apps/applistd/Checked.h"

namespace applist::daemon {

struct GLibMainLoop::EventSource {
    GSource base;
    GPollFD descriptor;
    GLibMainLoop* loop;

    static GLibMainLoop& LoopOf(GSource* source) {
        return *reinterpret_cast<EventSource*>(source)->loop;
    }
};

GLibMainLoop::GLibMainLoop() {
    static GSourceFuncs functions = {&GLibMainLoop::Prepare,
                                     &GLibMainLoop::Check,
                                     &GLibMainLoop::Dispatch,
                                     nullptr,
                                     nullptr,
                                     nullptr};
    m_source = g_source_new(&functions, sizeof(EventSource));
    auto* const source = reinterpret_cast<EventSource*>(m_source);
    source->loop = this;
    source->descriptor = {sd_event_get_fd(Event()), G_IO_IN, 0};
    g_source_set_name(m_source, "sd-event");
    // Not g_source_add_unix_fd: it dispatches whenever the descriptor is readable, although Check
    // found that sd-event needs no dispatch, as after each ping of the watchdog.
    g_source_add_poll(m_source, &source->descriptor);
    g_source_attach(m_source, nullptr);
}

GLibMainLoop::~GLibMainLoop() {
    g_source_destroy(m_source);
    g_source_unref(m_source);
}

void GLibMainLoop::Turn() {
    g_main_context_iteration(nullptr, TRUE);
    Checked(m_error, "the event loop failed");
}

// Here and in Check an error counts as ready, so that the turn ends. Dispatch would not meet the
// same error, but only that the loop is not ready to dispatch.
bool GLibMainLoop::IsReady(int result) {
    if (result < 0) m_error = result;
    return result != 0;
}

gboolean GLibMainLoop::Prepare(GSource* source, gint* timeout) {
    // GLib needs no timeout: sd-event's timers make its descriptor readable.
    *timeout = -1;
    GLibMainLoop& loop = EventSource::LoopOf(source);
    // GLib skips Check when a source of a higher priority was ready. Then the sd-event loop is
    // still armed, and cannot be prepared again before a wait has finished this round.
    const bool isArmed = sd_event_get_state(loop.Event()) == SD_EVENT_ARMED;
    if (isArmed && loop.IsReady(sd_event_wait(loop.Event(), 0))) return TRUE;
    return loop.IsReady(sd_event_prepare(loop.Event()));
}

gboolean GLibMainLoop::Check(GSource* source) {
    GLibMainLoop& loop = EventSource::LoopOf(source);
    return loop.IsReady(sd_event_wait(loop.Event(), 0));
}

gboolean GLibMainLoop::Dispatch(GSource* source, GSourceFunc, gpointer) {
    GLibMainLoop& loop = EventSource::LoopOf(source);
    if (loop.m_error == 0) loop.IsReady(sd_event_dispatch(loop.Event()));
    return G_SOURCE_CONTINUE;
}

}  // namespace applist::daemon
