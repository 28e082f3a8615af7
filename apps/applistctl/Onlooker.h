// SPDX-License-Identifier: MIT

// Asks the bus and the service directly, and never calls Connect: a partner that only looks would
// be counted among the partners.
//
// Every question waits for its answer, as long as --timeout says, and throws RemoteError when none
// comes. It throws TransportError when there is no bus.
// Threads: the main thread, whose default sd-event loop it is attached to.

#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "apps/applistctl/ListState.h"
#include "apps/applistctl/Options.h"
#include "bus/BusLink.h"
#include "bus/SdBus.h"
#include "remote/RemoteErrors.h"

namespace applist::ctl {

// An answer to a question: a reply, or an error that the other end gave.
struct Answer {
    UniqueMessage reply;
    std::string error;  // its D-Bus name; empty for a reply
    std::string text;
};

// Whether the other end does not know, or will not tell. A connection that has ended is an error,
// too, and no reason to leave something out.
bool IsUntold(const Answer& answer);

class Onlooker {
public:
    // Fills in what is asked; returns a negative errno when it cannot.
    using Append = std::function<int(sd_bus_message* call)>;

    explicit Onlooker(const Options& options);
    ~Onlooker() { m_link.Close(); }
    Onlooker(const Onlooker&) = delete;
    Onlooker& operator=(const Onlooker&) = delete;

    // Since the last question for the owner somebody has become it, or may have.
    bool HasNewOwner() const { return m_hasNewOwner; }

    const BusLocation& Bus() const { return m_link.Location(); }
    const RemoteErrors& Errors() const { return m_errors; }

    // The unique name of the service.
    std::string Owner();
    // What `function` of the service answers, whatever size that has.
    std::vector<Entry> ItemsFrom(const std::string& owner, std::int32_t function) const;

    Answer AskService(const std::string& owner, const char* interface, const char* member,
                      const Append& append) const;
    Answer AskBus(const char* member, const std::string& name) const;
    // The reply; throws when the answer is an error.
    UniqueMessage Required(Answer answer) const;

private:
    static int OnOwnerChanged(sd_bus_message* signal, void* self, sd_bus_error* error);

    void SetUp();
    Answer Call(const std::string& callee, const char* path, const char* interface,
                const char* member, const Append& append) const;
    std::string TextFrom(const std::string& owner, std::int32_t function) const;
    std::string LargeReply(const std::string& owner, const std::vector<char>& request) const;

    const std::chrono::microseconds m_timeout;
    const RemoteErrors m_errors;
    const std::string m_name;
    const std::string m_path;
    bool m_hasNewOwner = false;
    BusLink m_link;
    UniqueSlot m_changes;
};

}  // namespace applist::ctl
