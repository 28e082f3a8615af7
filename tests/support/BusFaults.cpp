// SPDX-License-Identifier: MIT

// The linker sends the program's own calls of these functions here (--wrap).

#include "support/BusFaults.h"

#include <sys/socket.h>
#include <systemd/sd-bus.h>
#include <systemd/sd-event.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>

namespace {

int g_errors[static_cast<std::size_t>(BusCall::Count)] = {};

int& ErrorOf(BusCall call) {
    return g_errors[static_cast<std::size_t>(call)];
}

}  // namespace

extern "C" {

int __real_sd_bus_process(sd_bus* bus, sd_bus_message** message);
int __real_sd_bus_send(sd_bus* bus, sd_bus_message* message, std::uint64_t* cookie);
int __real_sd_event_add_io(sd_event* event, sd_event_source** source, int fd, std::uint32_t events,
                           sd_event_io_handler_t callback, void* userdata);
int __real_sd_event_add_time(sd_event* event, sd_event_source** source, clockid_t clock,
                             std::uint64_t time, std::uint64_t accuracy,
                             sd_event_time_handler_t callback, void* userdata);

int __wrap_sd_bus_process(sd_bus* bus, sd_bus_message** message) {
    const int error = ErrorOf(BusCall::Process);
    return error != 0 ? error : __real_sd_bus_process(bus, message);
}

int __wrap_sd_bus_send(sd_bus* bus, sd_bus_message* message, std::uint64_t* cookie) {
    const int error = ErrorOf(BusCall::Send);
    return error != 0 ? error : __real_sd_bus_send(bus, message, cookie);
}

int __wrap_sd_event_add_io(sd_event* event, sd_event_source** source, int fd, std::uint32_t events,
                           sd_event_io_handler_t callback, void* userdata) {
    const int error = ErrorOf(BusCall::WatchDescriptor);
    return error != 0 ? error
                      : __real_sd_event_add_io(event, source, fd, events, callback, userdata);
}

int __wrap_sd_event_add_time(sd_event* event, sd_event_source** source, clockid_t clock,
                             std::uint64_t time, std::uint64_t accuracy,
                             sd_event_time_handler_t callback, void* userdata) {
    const int error = ErrorOf(BusCall::MakeTimer);
    return error != 0
               ? error
               : __real_sd_event_add_time(event, source, clock, time, accuracy, callback, userdata);
}

int __real_socketpair(int domain, int type, int protocol, int* sockets);
int __wrap_socketpair(int domain, int type, int protocol, int* sockets) {
    errno = -ErrorOf(BusCall::SocketPair);
    return errno != 0 ? -1 : __real_socketpair(domain, type, protocol, sockets);
}

// The same call in other words.
int __real_sd_event_add_time_relative(sd_event* event, sd_event_source** source, clockid_t clock,
                                      std::uint64_t time, std::uint64_t accuracy,
                                      sd_event_time_handler_t callback, void* userdata);
int __wrap_sd_event_add_time_relative(sd_event* event, sd_event_source** source, clockid_t clock,
                                      std::uint64_t time, std::uint64_t accuracy,
                                      sd_event_time_handler_t callback, void* userdata) {
    const int error = ErrorOf(BusCall::MakeTimer);
    return error != 0 ? error
                      : __real_sd_event_add_time_relative(event, source, clock, time, accuracy,
                                                          callback, userdata);
}

int __real_sd_bus_message_read_array(sd_bus_message* message, char type, const void** bytes,
                                     std::size_t* size);
int __wrap_sd_bus_message_read_array(sd_bus_message* message, char type, const void** bytes,
                                     std::size_t* size) {
    const int error = ErrorOf(BusCall::ReadArray);
    return error != 0 ? error : __real_sd_bus_message_read_array(message, type, bytes, size);
}

int __real_sd_bus_add_match_async(sd_bus* bus, sd_bus_slot** slot, const char* match,
                                  sd_bus_message_handler_t callback,
                                  sd_bus_message_handler_t installed, void* userdata);
int __wrap_sd_bus_add_match_async(sd_bus* bus, sd_bus_slot** slot, const char* match,
                                  sd_bus_message_handler_t callback,
                                  sd_bus_message_handler_t installed, void* userdata) {
    const int error = ErrorOf(BusCall::AddMatch);
    return error != 0
               ? error
               : __real_sd_bus_add_match_async(bus, slot, match, callback, installed, userdata);
}
}

FailingBusCall::FailingBusCall(BusCall call, int error) : m_call(call) {
    ErrorOf(call) = error;
}

FailingBusCall::~FailingBusCall() {
    ErrorOf(m_call) = 0;
}
