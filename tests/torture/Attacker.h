// SPDX-License-Identifier: MIT

// A stranger on the bus who means no good, in plain sd-bus. It is on no loop, so it reads nothing
// but the answers that it waits for.
//
// Threads: one. Lifetime: leaves the bus with the object, whatever is under way.

#pragma once

#include <systemd/sd-bus.h>

#include <cstddef>
#include <memory>
#include <random>
#include <string>
#include <vector>

class Attacker {
public:
    // Connects, or throws.
    Attacker(const std::string& address, std::mt19937& random);

    // Sends this many calls of the service at once, of which some are right and some are nonsense,
    // and returns when the last one is answered.
    void Flood(std::size_t calls);

    // Sends this many reads of the list, and reads none of the answers.
    void AskInVain(std::size_t calls);

    // Sends every signal that the service or a partner listens to, with a sender that is not true
    // where the bus lets it pass: to all, to the service, and to each other connection.
    void ForgeSignals();

private:
    struct Closer {
        void operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }
    };

    unsigned UpTo(unsigned most) {
        return std::uniform_int_distribution<unsigned>(0, most)(m_random);
    }
    std::string AnyRequest();
    void AwaitTheLast();
    void Call(const char* member, const std::string& request);
    void Send(sd_bus_message* message);
    void ForgeTo(const char* destination);
    std::vector<std::string> Connections() const;

    std::unique_ptr<sd_bus, Closer> m_bus;
    std::mt19937& m_random;
};
