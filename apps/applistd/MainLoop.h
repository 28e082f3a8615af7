// SPDX-License-Identifier: MIT

// The daemon's main loop: the calling thread's default sd-event loop, which the transport lives on.
//
// SIGTERM and SIGINT end it, SIGHUP does what it was told to. If the service manager asks for it,
// the loop itself feeds the watchdog, so that a loop that hangs is noticed. With nothing to do it
// sleeps without a timer.
//
// Threads: the main thread. Lifetime: one per process, built before the first endpoint and before
// anything that may start a thread, and destroyed after the endpoints.

#pragma once

#include <functional>

#include "bus/SdBus.h"

namespace applist::daemon {

class MainLoop {
public:
    // Blocks SIGTERM, SIGINT and SIGHUP for this thread and those that it will start.
    // Throws std::system_error when the kernel refuses an event loop.
    MainLoop();
    virtual ~MainLoop() = default;

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

protected:
    sd_event* Event() const { return m_event.get(); }

private:
    static int OnStopSignal(sd_event_source* source, const struct signalfd_siginfo* info,
                            void* loop);
    static int OnHangupSignal(sd_event_source* source, const struct signalfd_siginfo* info,
                              void* loop);

    // Waits until something is to be done, and does it. Throws as Run does.
    virtual void Turn();
    void AddSignals();

    UniqueEvent m_event;
    std::function<void()> m_reload;
    bool m_quit = false;
};

}  // namespace applist::daemon
