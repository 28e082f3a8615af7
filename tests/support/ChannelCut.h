// SPDX-License-Identifier: MIT

// Has a service close a direct channel while it answers: a message that it sends over the channel
// is lost, as for want of memory, and then the service gives the channel up.
//
// Threads: one. Lifetime: a cut that was not reached goes with the object.

#pragma once

#include <cstddef>

class ChannelCut {
public:
    // The `place`-th message from now on, counted from 1, that is sent over any channel with
    // sd_bus_send: a reply, or a notification.
    explicit ChannelCut(std::size_t place);
    ~ChannelCut();
    ChannelCut(const ChannelCut&) = delete;
    ChannelCut& operator=(const ChannelCut&) = delete;

    bool IsDone() const;
};
