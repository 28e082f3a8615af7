// SPDX-License-Identifier: MIT

// A direct channel to a service: asks for it over the bus, opens it, has it confirmed, and notices
// its end.
//
//   Off ---- Ask ----> Asked ---- a descriptor ----> Open ---- Connect answered ----> Confirmed
//   Asked, Open ---- anything else, or the second is over ----> Off   (told: it has ended)
//   Confirmed ---- end of file, or anything wrong ----> Off           (told: it has ended)
//   any ---- Close ----> Off                                          (told nothing)
//
// Nothing waits for it: while it is not confirmed, the bus is used.
//
// Threads: the main loop's. Lifetime: destroyed after the slots of others on its connection.

#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "bus/OwnedFd.h"
#include "bus/SdBus.h"
#include "remote/RemoteErrors.h"
#include "remote/RemoteRoute.h"
#include "remote/Way.h"

namespace applist {

class ServiceChannel {
public:
    using Time = RemoteRoute::Time;

    // Whose the channel is. Being told may lead to its end; it stays alive until then by what
    // KeepAlive returns.
    class User {
    public:
        virtual std::shared_ptr<void> KeepAlive() = 0;
        // The service regards this partner as connected; or has no place for it now, and why.
        virtual void OnChannelConfirmed(const std::optional<std::string>& noPlace) = 0;
        // There is none, or none any more. The reason is in the log.
        virtual void OnChannelEnded() = 0;

    protected:
        ~User() = default;
    };

    ServiceChannel(const RemoteErrors& errors, sd_event* loop, User& user);
    ~ServiceChannel();
    ServiceChannel(const ServiceChannel&) = delete;
    ServiceChannel& operator=(const ServiceChannel&) = delete;

    // Asks the service, which is found by `bus`, for a channel. Its answer and the confirmation may
    // take until `deadline`. Returns 0 or a negative errno.
    // REQUIRES: off.
    int Ask(const Way& bus, Time deadline);

    // Gives it up: calls over the bus have lost their order.
    void GiveUp(const char* why);
    void Close();

    bool IsOn() const { return m_state != State::Off; }
    bool IsConfirmed() const { return m_state == State::Confirmed; }

    // Once it is confirmed nothing more is read until this is called. Returns 0 or a negative
    // errno.
    int Resume();
    // The connection to wait for; null while nothing is read.
    sd_bus* Readable() const { return m_isPaused ? nullptr : Connection(); }

    // Its connection; null while there is none.
    sd_bus* Connection() const { return m_connection.get(); }
    Way GetWay() const { return Way{Connection(), std::string()}; }

    // Handles what has arrived, until `deadline` at most, and tells nobody of its end.
    // REQUIRES: not called from inside its connection's dispatching.
    void ReadToEnd(Time deadline);

    // When time is up; Time::max() for never. The loop sees to that. Whoever waits without running
    // it calls CatchUp once nothing more can be read.
    Time Due() const { return m_due; }
    void CatchUp(Time now);

    // Handles one thing that has arrived; returns whether there was any.
    bool Process();

    // For the callbacks of the bus.
    std::shared_ptr<void> KeepAlive() { return m_user.KeepAlive(); }
    void Failed();

private:
    enum class State { Off, Asked, Open, Confirmed, Ending };

    void OnAnswer(sd_bus_message* answer);
    void OnConnected(sd_bus_message* answer);
    void OnDisconnected(sd_bus_message* signal);
    static int OnTime(sd_event_source* source, std::uint64_t now, void* userdata);
    static int OnIncoming(sd_bus_message* message, void* userdata, sd_bus_error* error);

    int SetTimer();
    void Open(OwnedFd socket);
    int SetUp();
    int AskToConnect();
    void Fail(int priority, const char* why);
    void LogNone(int priority, const char* why) const;
    void Shut();

    const RemoteErrors& m_errors;
    sd_event* const m_loop;
    User& m_user;
    State m_state = State::Off;
    Time m_due = Time::max();
    bool m_isPaused = false;
    Way m_bus;
    // Closed at the channel's end, and released later: that may come from inside its dispatching.
    UniqueBus m_connection;
    UniqueSlot m_answer;  // of Channel, then of Connect
    UniqueSlot m_disconnected;
    UniqueSlot m_incoming;
    UniqueSource m_timer;
};

}  // namespace applist
