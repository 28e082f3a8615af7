// SPDX-License-Identifier: MIT

#include "apps/applistd/MainLoop.h"

#include <pthread.h>
#include <signal.h>

#include <cstdint>
#include <utility>

#include "apps/applistd/DefaultLoop.h"
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

MainLoop::MainLoop() {
    BlockSignals();
    m_event = DefaultLoop();
    AddSignals();
    Checked(sd_event_set_watchdog(m_event.get(), 1), "cannot set up the watchdog");
}

void MainLoop::AddSignals() {
    const auto add = [this](int signal, sd_event_signal_handler_t handler) {
        Checked(sd_event_add_signal(m_event.get(), nullptr, signal, handler, this),
                "cannot watch for signals");
    };
    add(SIGTERM, &MainLoop::OnStopSignal);
    add(SIGINT, &MainLoop::OnStopSignal);
    add(SIGHUP, &MainLoop::OnHangupSignal);
}

// Not by sd_event_exit: after it the loop can run no more, and endpoints that are destroyed later
// would have nothing to say goodbye on.
void MainLoop::Run() {
    while (!m_quit) Turn();
}

void MainLoop::Turn() {
    Checked(sd_event_run(m_event.get(), UINT64_MAX), "the event loop failed");
}

void MainLoop::OnHangup(std::function<void()> reload) {
    m_reload = std::move(reload);
}

void MainLoop::Quit() {
    m_quit = true;
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
