// What an endpoint sends: notifications and replies, in order, without ever waiting for the bus.
//
// While the bus does not drain, the outbox takes the connection off the loop but for its being
// writable. What comes in is read at the pace at which what we sent leaves, a message at a time, so
// the bus's own flow control reaches our partners.
//
// Threads: the main loop's. Lifetime: Detach goes before the bus.

#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

#include "bus/NotificationQueue.h"
#include "bus/SdBus.h"

namespace applist {

class Outbox {
public:
    // `path` is the object whose signals the notifications are. `onDrained` is called from the
    // loop when all has been taken after a stall; it may send again. `onFailed` is called from the
    // loop with a negative errno when the connection cannot be driven any further although it is
    // open; it gives the connection up.
    Outbox(std::string path, std::function<void()> onDrained,
           std::function<void(int error)> onFailed);
    Outbox(const Outbox&) = delete;
    Outbox& operator=(const Outbox&) = delete;

    // Sends over `bus` from now on, and puts it on the loop `event`. Returns 0 or a negative errno.
    int Attach(sd_bus* bus, sd_event* event);

    // Takes the bus off the loop and forgets what waits.
    void Detach();

    // Both do nothing but log when the bus refuses, and do nothing at all without a bus. A
    // notification may be merged or dropped as NotificationQueue says; a reply follows the
    // notifications that were sent before it.
    void Notify(Notification notification);
    // REQUIRES: Stalled() was false when the execution of its call began.
    void Reply(UniqueMessage reply);

    // Sends an answer to a call that was not executed, ahead of what waits here.
    void Refuse(UniqueMessage answer);

    // True while something that was sent has not left this process.
    bool Stalled() const;

    // Calls `onDrained` once all has left, and lets nothing more in until then.
    // REQUIRES: Stalled().
    void AwaitDrain();

    // Waits until all has left, `timeout` at most. Incoming calls are refused meanwhile.
    void Flush(std::chrono::microseconds timeout);

private:
    static int OnIncoming(sd_bus_message* message, void* userdata, sd_bus_error* error);
    static int OnWritable(sd_event_source* source, int fd, std::uint32_t events, void* userdata);

    std::uint64_t InLibrary() const;
    bool LibraryHasRoom(std::size_t bytes);
    void Transmit(const Notification& notification);
    void TransmitReply(UniqueMessage reply);
    void Pump();
    void Drain();
    void OpenGate();

    const std::string m_path;
    const std::function<void()> m_onDrained;
    const std::function<void(int)> m_onFailed;
    sd_bus* m_bus = nullptr;
    sd_event* m_event = nullptr;
    UniqueSlot m_incoming;
    NotificationQueue m_queue;
    // A call is executed only when nothing waits, so no more than one reply ever does.
    UniqueMessage m_waitingReply;
    // Set while the bus is off the loop because it does not drain.
    UniqueSource m_gate;
    // Bytes of notifications handed over since the library was last empty.
    std::size_t m_bytesInLibrary = 0;
    bool m_lossLogged = false;
};

}  // namespace applist
