// SPDX-License-Identifier: MIT

#include "bus/ChannelEnd.h"

#include <linux/sockios.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <systemd/sd-id128.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "bus/TransportError.h"
#include "bus/TransportLimits.h"
#include "common/Joined.h"

namespace applist {

namespace {

int SetUpServer(sd_bus* bus) {
    sd_id128_t id;
    int result = sd_id128_randomize(&id);
    if (result >= 0) result = sd_bus_set_server(bus, 1, id);
    if (result >= 0) result = sd_bus_set_connected_signal(bus, 1);
    return result;
}

// The library raises the socket's buffer when it starts, as far as it may: to many megabytes as
// root. What a peer does not read would then cost us that much.
int LimitSendBuffer(sd_bus* bus) {
    const int bytes = transport_limits::kChannelSendBuffer;
    const int result = setsockopt(sd_bus_get_fd(bus), SOL_SOCKET, SO_SNDBUF, &bytes, sizeof(bytes));
    return result < 0 ? -errno : 0;
}

// Anonymous at both ends: on a socket pair the credentials of the peer are those of whoever made
// the pair, and a peer that says it is somebody else would be refused.
UniqueBus Open(OwnedFd socket, int (*setUp)(sd_bus*)) {
    sd_bus* made = nullptr;
    int result = sd_bus_new(&made);
    UniqueBus bus(made);
    if (result >= 0) result = sd_bus_set_fd(bus.get(), socket.Get(), socket.Get());
    if (result >= 0) socket.Release();
    if (result >= 0) result = setUp(bus.get());
    if (result >= 0) result = sd_bus_set_anonymous(bus.get(), 1);
    if (result >= 0) result = sd_bus_negotiate_fds(bus.get(), 1);
    if (result >= 0) result = sd_bus_set_description(bus.get(), "applist-channel");
    // As on a bus: by default sd-bus flushes when the loop ends, without a deadline.
    if (result >= 0) result = sd_bus_set_close_on_exit(bus.get(), 0);
    if (result >= 0) result = sd_bus_start(bus.get());
    if (result >= 0) result = LimitSendBuffer(bus.get());
    if (result >= 0) return bus;
    throw TransportError(Joined({"cannot open a direct channel: ", std::strerror(-result)}));
}

}  // namespace

bool MayUseChannels() {
    const char* const said = std::getenv("APPLIST_DIRECT");
    return said == nullptr || std::strcmp(said, "0") != 0;
}

UniqueBus OpenServiceEnd(OwnedFd socket) {
    return Open(std::move(socket), SetUpServer);
}

UniqueBus OpenPartnerEnd(OwnedFd socket) {
    return Open(std::move(socket), [](sd_bus*) { return 0; });
}

// While the kernel tells that the last was read, it still counts a single byte. No message takes as
// little: each has the kernel's own bytes about it.
std::size_t UnreadOf(sd_bus* channel) {
    int bytes = 0;
    const int fd = sd_bus_get_fd(channel);
    if (fd < 0 || ioctl(fd, SIOCOUTQ, &bytes) != 0 || bytes <= 1) return 0;
    return static_cast<std::size_t>(bytes);
}

}  // namespace applist
