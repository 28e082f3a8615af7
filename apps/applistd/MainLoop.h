// SPDX-License-Identifier: MIT

// The daemon's main loop: GLib's, because GIO reports installed applications on it, with the
// calling thread's default sd-event loop inside, because the transport lives on that one.
//
// SIGTERM and SIGINT end it, SIGHUP does what it was told to. If the service manager asks for it,
// the loop itself feeds the watchdog, so that a loop that hangs is noticed. With nothing to do it
// sleeps without a timer.
//
// Threads: the main thread. Lifetime: one per process, built before the first endpoint and before
// anything that may start a thread, and destroyed after the endpoints.

#pragma once

#include <glib.h>
#include <systemd/sd-event.h>

#include <functional>

namespace applist::daemon {

class MainLoop {
public:
    // Blocks SIGTERM, SIGINT and SIGHUP for this thread and those that it will start.
    // Throws std::system_error when the kernel refuses an event loop.
    MainLoop();
    ~MainLoop();

    MainLoop(const MainLoop&) = delete;
    MainLoop& operator=(const MainLoop&) = delete;

    // Runs until Quit or a signal; returns at once if that has already been. Throws
    // std::system_error when the loop cannot go on.
    void Run();

    // From now on SIGHUP calls `reload` from inside the loop, which logs what that throws; one that
    // came since the loop was built, too.
    void OnHangup(std::function<void()> reload);

    // May be called at any time, from inside the loop or before it runs.
    void Quit();

private:
    struct EventSource;

    // The GSource that carries the sd-event loop: GLib's three steps are sd-event's.
    static gboolean Prepare(GSource* source, gint* timeout);
    static gboolean Check(GSource* source);
    static gboolean Dispatch(GSource* source, GSourceFunc callback, gpointer data);
    static int OnStopSignal(sd_event_source* source, const struct signalfd_siginfo* info,
                            void* loop);
    static int OnHangupSignal(sd_event_source* source, const struct signalfd_siginfo* info,
                              void* loop);

    // Whether sd-event wants to be dispatched, from what it has answered.
    bool IsReady(int result);
    void Fail(int error);
    void AddSignals();
    void AddToGLib();

    sd_event* m_event = nullptr;
    GMainLoop* m_loop = nullptr;
    GSource* m_source = nullptr;
    std::function<void()> m_reload;
    bool m_quit = false;
    int m_error = 0;  // what broke the sd-event loop, a negative errno
};

}  // namespace applist::daemon
