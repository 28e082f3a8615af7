// SPDX-License-Identifier: MIT

#include "bus/BusProbe.h"

#include <poll.h>

#include <chrono>
#include <utility>

#include "bus/BusNames.h"
#include "bus/TransportLimits.h"

namespace applist {

UniqueMessage QuestionToTheBus(sd_bus* bus) {
    sd_bus_message* question = nullptr;
    sd_bus_message_new_method_call(bus, &question, bus_names::kDriver, bus_names::kDriverPath,
                                   bus_names::kDriver, "GetId");
    return UniqueMessage(question);
}

BusProbe::BusProbe(std::function<void()> onAnswered, std::function<void()> onStuck)
    : m_onAnswered(std::move(onAnswered)), m_onStuck(std::move(onStuck)) {}

int BusProbe::Attach(sd_bus* bus, sd_event* event) {
    sd_event_source* source = nullptr;
    int result = sd_event_add_time(event, &source, CLOCK_MONOTONIC, UINT64_MAX,
                                   /* accuracy, the default */ 0, OnTime, this);
    m_timer.reset(source);
    if (result >= 0) result = sd_event_source_set_enabled(source, SD_EVENT_OFF);
    if (result >= 0) m_bus = bus;
    return result;
}

void BusProbe::Detach() {
    m_timer.reset();
    m_answer.reset();
    m_state = State::Quiet;
    m_bus = nullptr;
}

void BusProbe::Sent() {
    if (m_bus == nullptr) return;
    m_hasSentSince = true;
    if (m_state == State::Quiet) Enter(State::Due);
}

bool BusProbe::Ask() {
    if (m_bus == nullptr || !Send()) return false;
    // Who asks again does not get more patience by it.
    if (m_state == State::Quiet || m_state == State::Due) Enter(State::Asked);
    return true;
}

// Without an end of the library's own: it counts from sending, also while this process is held up.
bool BusProbe::Send() {
    const UniqueMessage question = QuestionToTheBus(m_bus);
    sd_bus_slot* slot = nullptr;
    if (!question ||
        sd_bus_call_async(m_bus, &slot, question.get(), OnAnswer, this, UINT64_MAX) < 0) {
        return false;
    }
    m_answer.reset(slot);
    m_hasSentSince = false;
    return true;
}

void BusProbe::Enter(State state) {
    m_state = state;
    const std::chrono::microseconds time =
        state == State::Due ? transport_limits::kProbeDelay : transport_limits::kProbePatience;
    sd_event_source_set_time_relative(m_timer.get(), static_cast<std::uint64_t>(time.count()));
    sd_event_source_set_enabled(m_timer.get(),
                                state == State::Quiet ? SD_EVENT_OFF : SD_EVENT_ONESHOT);
}

int BusProbe::OnAnswer(sd_bus_message* answer, void* userdata, sd_bus_error*) {
    BusProbe* const probe = static_cast<BusProbe*>(userdata);
    Guarded("hearing from the bus", [=] {
        if (!bus_names::IsFromDriver(answer)) return probe->Deceived();
        probe->Enter(State::Quiet);
        if (probe->m_hasSentSince) probe->Sent();
        probe->m_onAnswered();
    });
    return kReplyTaken;
}

// The library has taken a stranger's answer for the bus's, and drops the true one when it comes.
// The bus is not to be blamed for that.
void BusProbe::Deceived() {
    Enter(Send() ? State::Asked : State::Due);
}

int BusProbe::OnTime(sd_event_source*, std::uint64_t, void* userdata) {
    BusProbe* const probe = static_cast<BusProbe*>(userdata);
    Guarded("asking the bus", [probe] { probe->TimeIsUp(); });
    return 0;
}

void BusProbe::TimeIsUp() {
    switch (m_state) {
        case State::Quiet: return;
        case State::Due:
            if (!Ask()) Enter(State::Due);
            return;
        case State::Asked: Send(); return Enter(State::AskedAgain);
        case State::AskedAgain:
            if (CouldGoOn()) return Enter(State::Late);
            break;
        case State::Late: break;
    }
    m_onStuck();
}

// While something waits to be sent, little is read: see Outbox.
bool BusProbe::CouldGoOn() const {
    std::uint64_t unread = 0;
    std::uint64_t unsent = 0;
    sd_bus_get_n_queued_read(m_bus, &unread);
    sd_bus_get_n_queued_write(m_bus, &unsent);
    if (unread > 0 && unsent == 0) return true;
    struct pollfd ready = {sd_bus_get_fd(m_bus), static_cast<short>(unsent > 0 ? POLLOUT : POLLIN),
                           0};
    return ready.fd >= 0 && poll(&ready, 1, 0) > 0;
}

}  // namespace applist
