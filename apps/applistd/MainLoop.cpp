// SPDX-License-Identifier: MIT

#include "apps/applistd/MainLoop.h"

#include <pthread.h>
#include <signal.h>

#include <utility>

#include "apps/applistd/Checked.h"
#include "common/Guarded.h"

namespace applist::daemon {

namespace {

// sd-event takes signals from a signalfd, which sees only those that are blocked in every thread.
void BlockSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGHUP);
    Checked(-pthread_sigmask(SIG_BLOCK, &signals, nullptr), "cannot block signals");
}

}  // namespace

struct MainLoop::EventSource {
    GSource base;
    GPollFD descriptor;
    MainLoop* loop;

    static MainLoop& LoopOf(GSource* source) {
        return *reinterpret_cast<EventSource*>(source)->loop;
    }
};

MainLoop::MainLoop() {
    BlockSignals();
    Checked(sd_event_default(&m_event), "cannot create an event loop");
    try {
        AddSignals();
        Checked(sd_event_set_watchdog(m_event, 1), "cannot set up the watchdog");
    } catch (...) {
        sd_event_unref(m_event);
        throw;
    }
    m_loop = g_main_loop_new(nullptr, FALSE);
    AddToGLib();
}

MainLoop::~MainLoop() {
    g_source_destroy(m_source);
    g_source_unref(m_source);
    g_main_loop_unref(m_loop);
    sd_event_unref(m_event);
}

void MainLoop::AddSignals() {
    const auto add = [this](int signal, sd_event_signal_handler_t handler) {
        Checked(sd_event_add_signal(m_event, nullptr, signal, handler, this),
                "cannot watch for signals");
    };
    add(SIGTERM, &MainLoop::OnStopSignal);
    add(SIGINT, &MainLoop::OnStopSignal);
    add(SIGHUP, &MainLoop::OnHangupSignal);
}

void MainLoop::AddToGLib() {
    static GSourceFuncs functions = {
        &MainLoop::Prepare, &MainLoop::Check, &MainLoop::Dispatch, nullptr, nullptr, nullptr};
    m_source = g_source_new(&functions, sizeof(EventSource));
    auto* const source = reinterpret_cast<EventSource*>(m_source);
    source->loop = this;
    source->descriptor = {sd_event_get_fd(m_event), G_IO_IN, 0};
    g_source_set_name(m_source, "sd-event");
    // Not g_source_add_unix_fd: it dispatches whenever the descriptor is readable, although Check
    // found that sd-event needs no dispatch, as after each ping of the watchdog.
    g_source_add_poll(m_source, &source->descriptor);
    g_source_attach(m_source, nullptr);
}

void MainLoop::Run() {
    if (!m_quit) g_main_loop_run(m_loop);
    Checked(m_error, "the event loop failed");
}

void MainLoop::OnHangup(std::function<void()> reload) {
    m_reload = std::move(reload);
}

void MainLoop::Quit() {
    m_quit = true;
    g_main_loop_quit(m_loop);
}

void MainLoop::Fail(int error) {
    m_error = error;
    Quit();
}

// Here and in Check an error counts as ready: Dispatch can end the loop. It would not meet the same
// error, but only that the loop is not ready to dispatch.
bool MainLoop::IsReady(int result) {
    if (result < 0) m_error = result;
    return result != 0;
}

gboolean MainLoop::Prepare(GSource* source, gint* timeout) {
    // GLib needs no timeout: sd-event's timers make its descriptor readable.
    *timeout = -1;
    MainLoop& loop = EventSource::LoopOf(source);
    // GLib skips Check when a source of a higher priority was ready. Then the sd-event loop is
    // still armed, and cannot be prepared again before a wait has finished this round.
    const bool isArmed = sd_event_get_state(loop.m_event) == SD_EVENT_ARMED;
    if (isArmed && loop.IsReady(sd_event_wait(loop.m_event, 0))) return TRUE;
    return loop.IsReady(sd_event_prepare(loop.m_event));
}

gboolean MainLoop::Check(GSource* source) {
    MainLoop& loop = EventSource::LoopOf(source);
    return loop.IsReady(sd_event_wait(loop.m_event, 0));
}

gboolean MainLoop::Dispatch(GSource* source, GSourceFunc, gpointer) {
    MainLoop& loop = EventSource::LoopOf(source);
    const int result = loop.m_error < 0 ? loop.m_error : sd_event_dispatch(loop.m_event);
    if (result > 0) return G_SOURCE_CONTINUE;
    // Ended by an sd_event_exit, or broken: without it the daemon would not hear the bus any more.
    loop.Fail(result);
    return G_SOURCE_REMOVE;
}

int MainLoop::OnStopSignal(sd_event_source*, const signalfd_siginfo*, void* loop) {
    static_cast<MainLoop*>(loop)->Quit();
    return 0;
}

int MainLoop::OnHangupSignal(sd_event_source*, const signalfd_siginfo*, void* self) {
    auto* const loop = static_cast<MainLoop*>(self);
    Guarded("reloading", [loop] {
        if (loop->m_reload) loop->m_reload();
    });
    return 0;
}

}  // namespace applist::daemon
