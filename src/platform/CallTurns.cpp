// SPDX-License-Identifier: MIT

#include "platform/CallTurns.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <new>
#include <optional>
#include <utility>

#include "bus/OwnedFd.h"
#include "platform/Wire.h"

namespace applist {

CallTurns::CallTurns(Wire& wire, Outbox& outbox, BusProbe& probe, const TransportLimits& limits,
                     bool isShared)
    : m_wire(wire),
      m_outbox(outbox),
      m_probe(probe),
      m_held(limits.heldBytes, limits.heldSenders),
      m_isShared(isShared) {}

int CallTurns::Attach(sd_event* event) {
    sd_event_source* source = nullptr;
    int result = sd_event_add_defer(event, &source, OnTurn, this);
    m_turn.reset(source);
    if (result >= 0) result = sd_event_source_set_enabled(source, SD_EVENT_OFF);
    return result;
}

void CallTurns::Detach() {
    m_turn.reset();
    m_held.Clear();
    m_isAsking = false;
    m_spent = m_spent.zero();
}

// Looking for more costs a system call, but not knowing would cost whoever comes behind.
bool CallTurns::IsFree() {
    if (!m_held.Empty() || m_outbox.Stalled()) return false;
    if (m_isShared && (HaveTakenTime() || m_outbox.HasInput())) return false;
    m_spent = m_spent.zero();
    return true;
}

// The lowest free descriptor is close to how many are open.
bool CallTurns::LacksDescriptors() const {
    struct rlimit most;
    if (getrlimit(RLIMIT_NOFILE, &most) != 0) return false;
    const int loop = sd_event_get_fd(sd_event_source_get_event(m_turn.get()));
    const OwnedFd lowest(fcntl(loop, F_DUPFD_CLOEXEC, 0));
    if (lowest.Get() < 0) return true;
    const rlim_t spare = std::min<rlim_t>(transport_limits::kSpareDescriptors, most.rlim_cur / 2);
    return static_cast<rlim_t>(lowest.Get()) + spare > most.rlim_cur;
}

CallTurns::Outcome CallTurns::Hold(const std::string& sender, std::size_t bytes, Call&& call) {
    // First: a call that waits must have its turn.
    if (!Schedule()) throw std::bad_alloc();
    return m_held.Push(sender, bytes, std::move(call));
}

void CallTurns::GoOn() {
    if (!m_held.Empty() && !Schedule()) m_outbox.FailSoon(-ENOMEM);
}

// For one turn, and then anew: a source that stays on would have precedence over the others of the
// loop, the bus among them.
bool CallTurns::Schedule() {
    return sd_event_source_set_enabled(m_turn.get(), SD_EVENT_ONESHOT) >= 0;
}

int CallTurns::OnTurn(sd_event_source*, void* userdata) {
    CallTurns* const turns = static_cast<CallTurns*>(userdata);
    Guarded("executing a call", [turns] { turns->TakeTurn(); });
    return 0;
}

void CallTurns::TakeTurn() {
    ReadAhead();
    if (m_held.Empty()) return;  // or the bus went away meanwhile
    if (m_outbox.Stalled()) return m_outbox.AwaitDrain();
    if (m_isShared && HaveTakenTime()) return AskWhetherEverythingIsIn();
    const std::optional<Call> call = m_held.Pop();
    if (!call) return AskWhetherEverythingIsIn();
    GoOn();  // first, as executing may take the bus away
    m_wire.Execute(call->message.get(), call->method);
}

void CallTurns::ReadAhead() {
    if (!m_isShared) return;
    for (std::size_t count = 0; count < transport_limits::kReadAhead; ++count) {
        if (m_outbox.Stalled() || !m_outbox.HasInput() || !m_outbox.ReadOne()) return;
    }
}

void CallTurns::AskWhetherEverythingIsIn() {
    if (m_isAsking) return;
    m_isAsking = true;
    // Without memory for a question somebody else may have to wait a little longer.
    if (!m_probe.Ask()) EverythingIsIn();
}

void CallTurns::EverythingIsIn() {
    if (!std::exchange(m_isAsking, false)) return;
    m_spent = m_spent.zero();
    m_held.Pardon();
    GoOn();
}

}  // namespace applist
