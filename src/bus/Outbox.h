// SPDX-License-Identifier: MIT

// What an endpoint sends over one connection: notifications and replies, in order, without ever
// waiting for the other end, which is a bus, or a partner's end of a direct channel.
//
// While the other end does not take what we send, the outbox takes the connection off the loop and
// watches only for its becoming writable (the "gate"). Then one incoming message is read for each
// time that something leaves, so the connection's own flow control slows our partners down.
//
// A channel takes more descriptors than a process should have lost sight of, and each may hold a
// whole list. But it tells what was read; so when many are unread, the gate is closed until all is.
//
// Threads: the main loop's. Lifetime: call Detach before the connection goes.

#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

#include "bus/BusProbe.h"
#include "bus/NotificationQueue.h"
#include "bus/SdBus.h"

namespace applist {

class Outbox {
public:
    // `path` is the object whose signals the notifications are. `onDrained` is called from the
    // loop when everything has left after a stall; it may send again. `onFailed` is called from the
    // loop with a negative errno when the connection cannot go on although it is open, or something
    // that was to be sent over it is lost; it must give the connection up. `probe` is told when
    // something is sent.
    Outbox(std::string path, BusProbe& probe, std::function<void()> onDrained,
           std::function<void(int error)> onFailed);
    Outbox(const Outbox&) = delete;
    Outbox& operator=(const Outbox&) = delete;

    // Sends over `bus` from now on, and puts it on the loop `event`. Returns 0 or a negative errno.
    int Attach(sd_bus* bus, sd_event* event);

    // Takes the bus off the loop and drops what waits.
    void Detach();

    // Send. Without a bus nothing happens. A notification may be merged or dropped as
    // NotificationQueue says; a reply follows the notifications that were sent before it.
    void Notify(Notification notification);
    // Says that a notification which was due now is lost.
    void LoseOne();
    // From now on nothing is sent: nobody is there to read it.
    void Mute();
    // REQUIRES: Stalled() was false when the execution of its call began.
    void Reply(UniqueMessage reply);
    // The same with a descriptor in the reply, which keeps `bytes` in memory until it is read.
    void ReplyWithFd(UniqueMessage reply, std::size_t bytes);

    // Sends an answer to a call that was not executed, ahead of what waits here.
    void Refuse(UniqueMessage answer);

    // How many notifications to the default destination wait here and not yet in the library, whose
    // queue keeps the order. Merged ones count.
    std::uint64_t WaitingToEveryone() const { return m_queue.ToEveryone(); }

    // True while something that was sent has not left this process, or too much lies unread in a
    // channel.
    bool Stalled() const;

    // Calls `onDrained` once that is over, and keeps the connection off the loop until then.
    // REQUIRES: Stalled().
    void AwaitDrain();

    // Whether a message may have come in that was not handled yet, and handling one now instead of
    // when the loop gets to it. ReadOne returns whether there was anything to do.
    bool HasInput() const;
    bool ReadOne();

    // Calls `onFailed` with `error` from the loop, before anything else comes in.
    // REQUIRES: attached.
    void FailSoon(int error);

    // Waits until everything has left, `timeout` at most.
    void Flush(std::chrono::microseconds timeout);

private:
    static int OnIncoming(sd_bus_message* message, void* userdata, sd_bus_error* error);
    static int OnFailure(sd_event_source* source, void* userdata);
    static int OnWritable(sd_event_source* source, int fd, std::uint32_t events, void* userdata);
    static int OnRead(sd_event_source* source, int fd, std::uint32_t events, void* userdata);

    std::uint64_t InLibrary() const;
    bool HasMuchUnread() const;
    int MakeGate();
    bool LibraryHasRoom(std::size_t bytes);
    int PriorityOfFailure() const;
    int NewSignal(UniqueMessage& signal, const char* member) const;
    void Transmit(const Notification& notification);
    void TellOfLoss();
    void TransmitReply(UniqueMessage reply);
    void Pump();
    void Drain();
    void GoOn();
    void CloseGate();
    void OpenGate();

    const std::string m_path;
    BusProbe& m_probe;
    const std::function<void()> m_onDrained;
    const std::function<void(int)> m_onFailed;
    sd_bus* m_bus = nullptr;
    sd_event* m_event = nullptr;
    UniqueSlot m_incoming;
    NotificationQueue m_queue;
    // A call is executed only when nothing waits, so no more than one reply ever does.
    UniqueMessage m_waitingReply;
    // Set while the connection is off the loop because it does not drain.
    UniqueSource m_gate;
    // Descriptors sent over a channel since nothing was unread, and what they hold.
    std::size_t m_fds = 0;
    std::size_t m_fdBytes = 0;
    // Disabled until something has failed.
    UniqueSource m_failure;
    int m_error = 0;
    // Bytes of notifications handed over since the library was last empty.
    std::size_t m_bytesInLibrary = 0;
    bool m_isMute = false;
    bool m_hasLost = false;  // notifications, since the last time that everything had left
};

}  // namespace applist
