// SPDX-License-Identifier: MIT

// An error of sd-bus, sd-event or the kernel where the code under test calls it. What the two call
// themselves, such as the loop when it processes a bus, goes on.
//
// Threads: one. Lifetime: the calls fail as long as the object lives.

#pragma once

enum class BusCall {
    Process,          // sd_bus_process
    Send,             // sd_bus_send
    WatchDescriptor,  // sd_event_add_io
    MakeTimer,        // sd_event_add_time and sd_event_add_time_relative
    ReadArray,        // sd_bus_message_read_array
    AddMatch,         // sd_bus_add_match_async
    SocketPair,       // socketpair
    Count
};

class FailingBusCall {
public:
    // From now on it fails with `error`, a negative errno.
    FailingBusCall(BusCall call, int error);
    ~FailingBusCall();
    FailingBusCall(const FailingBusCall&) = delete;
    FailingBusCall& operator=(const FailingBusCall&) = delete;

private:
    const BusCall m_call;
};
