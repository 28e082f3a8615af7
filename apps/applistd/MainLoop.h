// The daemon's main loop: GLib's, because GIO reports installed applications on it, with the
// calling thread's default sd-event loop inside, because the transport lives on that one.
//
// SIGTERM and SIGINT end it. If the service manager asks for it, the loop itself feeds the
// watchdog, so that a loop that hangs is noticed. With nothing to do it sleeps without a timer.
//
// Threads: the main thread. Lifetime: one per process, built before the first endpoint and before
// anything that may start a thread, and destroyed after the endpoints.

#pragma once

#include <glib.h>
#include <systemd/sd-event.h>

namespace applist::daemon {

class MainLoop {
public:
    // Blocks SIGTERM and SIGINT for this thread and those that it will start.
    // Throws std::system_error when the kernel refuses an event loop.
    MainLoop();
    ~MainLoop();

    MainLoop(const MainLoop&) = delete;
    MainLoop& operator=(const MainLoop&) = delete;

    // Runs until Quit or a signal; returns at once if that has already been. Throws
    // std::system_error when the loop cannot go on.
    void Run();

    // May be called at any time, from inside the loop or before it runs.
    void Quit();

private:
    struct EventSource;

    // The GSource that carries the sd-event loop: GLib's three steps are sd-event's.
    static gboolean Prepare(GSource* source, gint* timeout);
    static gboolean Check(GSource* source);
    static gboolean Dispatch(GSource* source, GSourceFunc callback, gpointer data);
    static int OnSignal(sd_event_source* source, const struct signalfd_siginfo* info, void* loop);

    // Whether sd-event wants to be dispatched, from what it has answered.
    bool IsReady(int result);
    void Fail(int error);
    void AddStopSignals();
    void AddToGLib();

    sd_event* m_event = nullptr;
    GMainLoop* m_loop = nullptr;
    GSource* m_source = nullptr;
    bool m_quit = false;
    int m_error = 0;  // what broke the sd-event loop, a negative errno
};

}  // namespace applist::daemon
