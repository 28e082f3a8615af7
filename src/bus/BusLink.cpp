// SPDX-License-Identifier: MIT

#include "bus/BusLink.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <utility>

#include "bus/TransportError.h"
#include "common/AppListLog.h"
#include "common/Joined.h"

namespace applist {

using logging::kDebug;
using logging::kError;
using logging::kInfo;

namespace {

using Clock = std::chrono::steady_clock;

// Not the loop's own clock: that stands still while somebody waits without running the loop.
std::chrono::microseconds Now() {
    return std::chrono::duration_cast<std::chrono::microseconds>(Clock::now().time_since_epoch());
}

TransportError CannotReach(const BusLocation& location, int error) {
    return TransportError(Joined({"cannot reach ", location.description, ": ",
                                  std::strerror(-error), "; ", location.advice}));
}

// Starts a connection as a client of the bus at `location`. It may not be usable yet: the
// handshake with the bus goes on in the loop, or in WaitForBus.
UniqueBus OpenBus(const BusLocation& location) {
    sd_bus* made = nullptr;
    int result = sd_bus_new(&made);
    UniqueBus bus(made);
    if (result >= 0) result = sd_bus_set_address(bus.get(), location.address.c_str());
    if (result >= 0) result = sd_bus_set_bus_client(bus.get(), 1);
    if (result >= 0) result = sd_bus_set_description(bus.get(), "applist");
    // By default sd-bus flushes and closes when the loop ends, and that flush has no deadline. The
    // endpoint does both itself when it is destroyed, with one.
    if (result >= 0) result = sd_bus_set_close_on_exit(bus.get(), 0);
    if (result >= 0) {
        result = sd_bus_set_method_call_timeout(
            bus.get(), static_cast<std::uint64_t>(location.timeout.count()));
    }
    if (result >= 0) result = sd_bus_start(bus.get());
    if (result < 0) throw CannotReach(location, result);
    return bus;
}

// Waits until the connection is usable. Not sd_bus_flush or a first call: neither stops at a
// deadline of ours when something accepts the connection and never answers.
void WaitForBus(sd_bus* bus, const BusLocation& location) {
    const Clock::time_point deadline = Clock::now() + location.timeout;
    for (;;) {
        const int ready = sd_bus_is_ready(bus);
        if (ready > 0) return;
        if (ready < 0) throw CannotReach(location, ready);
        const int progress = sd_bus_process(bus, nullptr);
        if (progress < 0) throw CannotReach(location, progress);
        // sd_bus_process does not report a connection that it has just lost as an error.
        if (sd_bus_is_open(bus) <= 0) throw CannotReach(location, -ECONNRESET);
        if (progress > 0) continue;
        const auto left =
            std::chrono::duration_cast<std::chrono::microseconds>(deadline - Clock::now());
        if (left.count() <= 0) throw CannotReach(location, -ETIMEDOUT);
        const int waited = sd_bus_wait(bus, static_cast<std::uint64_t>(left.count()));
        if (waited < 0 && waited != -EINTR) throw CannotReach(location, waited);
    }
}

UniqueEvent DefaultLoop() {
    sd_event* event = nullptr;
    const int result = sd_event_default(&event);
    if (result < 0) {
        throw TransportError(
            Joined({"cannot get this thread's sd-event loop: ", std::strerror(-result)}));
    }
    return UniqueEvent(event);
}

}  // namespace

BusLink::BusLink(std::function<void()> setUp, std::function<void()> lost,
                 std::chrono::microseconds lastRetry)
    : m_setUp(std::move(setUp)),
      m_lost(std::move(lost)),
      m_location(SelectedBus()),
      m_event(DefaultLoop()),
      m_policy(m_location.retry.value_or(BusRetry{transport_limits::kFirstRetry, lastRetry,
                                                  /* attempt */ transport_limits::kLastRetry})),
      m_retryDelay(m_policy.first) {
    MakeTimer();
}

void BusLink::Open() {
    m_bus = OpenBus(m_location);
    WaitForBus(m_bus.get(), m_location);
    Start();
}

void BusLink::Start() {
    sd_bus_slot* slot = nullptr;
    const int result =
        sd_bus_match_signal(m_bus.get(), &slot, nullptr, "/org/freedesktop/DBus/Local",
                            "org.freedesktop.DBus.Local", "Disconnected", OnDisconnected, this);
    m_disconnected.reset(slot);
    if (result < 0) throw TransportError(std::strerror(-result));
    m_isSetUp = true;
    m_setUp();
}

void BusLink::Settled() {
    if (!m_isComingBack || m_isGivenUp) return;
    m_isComingBack = false;
    sd_event_source_set_enabled(m_timer.get(), SD_EVENT_OFF);
    m_retryDelay = m_policy.first;
    APPLIST_LOG(kInfo, "back on %s", m_location.description.c_str());
}

void BusLink::GiveUp() {
    if (!m_isSetUp) return;
    m_isGivenUp = true;
    // At once: libsystemd fails an assertion of its own when a message comes in after it had no
    // memory for a match.
    sd_bus_close(m_bus.get());
    ScheduleRetry(m_retryDelay);
}

void BusLink::Close() {
    m_isSetUp = false;
    m_timer.reset();
    m_bus.reset();
}

void BusLink::Abandon(int error) {
    APPLIST_LOG(kDebug, "giving up the connection to %s: %s", m_location.description.c_str(),
                std::strerror(-error));
    sd_bus_close(m_bus.get());  // so that the others see at once that we are gone
    ComeBack();
}

int BusLink::OnDisconnected(sd_bus_message*, void* userdata, sd_bus_error*) {
    static_cast<BusLink*>(userdata)->ComeBack();
    return 0;
}

// Called from inside the connection's dispatching, so the connection is released later, by
// TryAgain.
void BusLink::ComeBack() {
    if (!m_isComingBack) {
        APPLIST_LOG(kError, "lost %s; trying again", m_location.description.c_str());
    }
    ScheduleRetry(m_retryDelay);
    Leave();
}

// Must be the last thing that its caller does: `lost` may destroy the owner, and the link with it.
void BusLink::Leave() {
    if (std::exchange(m_isSetUp, false)) Guarded("leaving a lost bus", m_lost);
}

// Before there is a connection to lose: what makes a connection fail, such as want of memory or of
// descriptors, would also keep a timer from being made.
void BusLink::MakeTimer() {
    sd_event_source* source = nullptr;
    int result =
        sd_event_add_time(m_event.get(), &source, CLOCK_MONOTONIC, UINT64_MAX,
                          /* accuracy, a tenth of the shortest delay */ 10000, OnRetry, this);
    m_timer.reset(source);
    if (result >= 0) result = sd_event_source_set_enabled(source, SD_EVENT_OFF);
    if (result < 0) {
        throw TransportError(Joined({"cannot make a timer: ", std::strerror(-result)}));
    }
}

void BusLink::ScheduleRetry(std::chrono::microseconds delay) {
    m_isComingBack = true;
    const auto time = static_cast<std::uint64_t>((Now() + delay).count());
    int result = sd_event_source_set_time(m_timer.get(), time);
    if (result >= 0) result = sd_event_source_set_enabled(m_timer.get(), SD_EVENT_ONESHOT);
    if (result < 0) APPLIST_LOG(kError, "cannot reconnect: %s", std::strerror(-result));
}

std::chrono::microseconds BusLink::Due() const {
    int isSet = SD_EVENT_OFF;
    std::uint64_t time = 0;
    if (!m_timer || sd_event_source_get_enabled(m_timer.get(), &isSet) <= 0 ||
        sd_event_source_get_time(m_timer.get(), &time) < 0) {
        return std::chrono::microseconds::max();
    }
    return std::chrono::microseconds(time);
}

void BusLink::CatchUp() {
    if (Due() <= Now()) TimeIsUp();
}

int BusLink::OnRetry(sd_event_source*, std::uint64_t, void* userdata) {
    static_cast<BusLink*>(userdata)->TimeIsUp();
    return 0;
}

// Each way sets the timer anew.
void BusLink::TimeIsUp() {
    if (m_isSetUp) {  // given up, or not settled in time
        // Closed now, not when the next attempt begins: an ssh behind it may still be asking for a
        // password that would be of no use any more.
        sd_bus_close(m_bus.get());
        const std::chrono::microseconds left = m_retryDelay - m_policy.attempt;
        ScheduleRetry(std::max(left, std::chrono::microseconds(0)));
        return Leave();
    }
    try {
        TryAgain();
    } catch (const std::exception& error) {
        Failed(error.what());
    } catch (...) {
        Failed("unknown exception");
    }
}

void BusLink::Failed(const char* why) {
    // Only at debug: this may go on for days, and the loss itself has been logged.
    APPLIST_LOG(kDebug, "cannot reconnect: %s", why);
    sd_bus_close(m_bus.get());  // as in GiveUp
    ScheduleRetry(m_retryDelay);
    Leave();
}

// Nothing here waits: the connection comes up in the loop. An attempt that has not settled when its
// time is up gives way to the next.
void BusLink::TryAgain() {
    m_retryDelay = m_policy.After(m_retryDelay);
    m_disconnected.reset();
    m_isGivenUp = false;
    m_bus.reset();
    m_bus = OpenBus(m_location);
    ScheduleRetry(m_policy.attempt);
    Start();
}

}  // namespace applist
