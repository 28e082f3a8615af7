// The daemon's main loop: GLib's, because GIO reports installed applications on it, with the
// calling thread's default sd-event loop inside, because the transport lives on that one.
//
// SIGTERM and SIGINT end it. Under a service manager that asks for it, the loop itself feeds the
// watchdog, so that a loop that hangs is noticed. With nothing to do it sleeps without a timer.
//
// Threads: the main thread. Lifetime: one a process, built before the first endpoint and before
// anything that may start a thread, destroyed after the endpoints.

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

    // Returns after Quit or a signal, at once when that was before. Throws std::system_error when
    // the loop cannot go on.
    void Run();

    // May be called at any time, from inside the loop or before it runs.
    void Quit();

private:
    struct EventSource;

    static gboolean Prepare(GSource* source, gint* timeout);
    static gboolean Check(GSource* source);
    static gboolean Dispatch(GSource* source, GSourceFunc callback, gpointer data);
    static int OnSignal(sd_event_source* source, const struct signalfd_siginfo* info, void* loop);

    void Fail(int error);
    void AddStopSignals();
    void AddToGLib();

    sd_event* m_event = nullptr;
    GMainLoop* m_loop = nullptr;
    GSource* m_source = nullptr;
    bool m_quit = false;
    int m_error = 0;
};

}  // namespace applist::daemon
