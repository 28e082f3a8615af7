// SPDX-License-Identifier: MIT

// A stranger on the bus who says what only others may say: signals in the name of the bus or of a
// service, and replies to calls that were never sent to it. With every signal of its own comes
// the proof that the bus carries such a signal.
//
// Threads: one, on whose default loop it lives. Lifetime: leaves its bus with the object.

#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "support/BusClient.h"

class Forger {
public:
    using Appender = std::function<int(sd_bus_message*)>;

    struct Signal {
        std::string path;
        std::string interface;
        std::string member;
        Appender append;
    };

    explicit Forger(const std::string& address);

    const std::string& Name() const { return m_client.Name(); }

    // Sends `signal` to `victim` alone and to everyone, each without a sender and with each of
    // `senders`. Returns when `victim` has read them all. Fails the test when the bus carries none
    // of them to others, and does not throw their sender out either.
    void Send(const Signal& signal, const std::string& victim,
              const std::vector<std::string>& senders);

    // Answers the calls of `victim` that have these cookies, and whose receivers have not answered
    // yet. Returns when `victim` has read what the bus lets through.
    void Reply(const std::string& victim, std::uint64_t firstCookie, std::uint64_t lastCookie,
               const Appender& append);
    // The two halves of that.
    void StartReplying(const std::string& victim, std::uint64_t firstCookie,
                       std::uint64_t lastCookie, const Appender& append);
    void AwaitReadBy(const std::string& victim);

    // The members of the calls that it got.
    std::vector<std::string> m_calls;

private:
    void SendOne(const Signal& signal, const std::string& destination, const std::string& sender);
    void ReplyOne(const std::string& victim, std::uint64_t cookie, const Appender& append);
    static int OnCall(sd_bus_message* message, void* userdata, sd_bus_error* error);

    const std::string m_address;
    BusClient m_client;
};

// The bus's own signal that a name has passed from one owner to another.
Forger::Signal NameOwnerChanged(const std::string& name, const std::string& before,
                                const std::string& now);
// The bus's own signals to the owner of a name.
Forger::Signal NameLost(const std::string& name);
Forger::Signal NameAcquired(const std::string& name);
// The bus library's own signal that its connection has died.
Forger::Signal Disconnected();
// A service's notification that the list has changed.
Forger::Signal ListChanged();
