// SPDX-License-Identifier: MIT

// Somebody else on the bus, who may do there what everybody may, and does it at random: forges
// signals, calls with nonsense, connects without end. Nobody may believe a word, or come to harm.
//
// Lifetime: goes before its bus.

#pragma once

#include <string>

#include "sim/SimBus.h"

namespace sim {

class Attacker {
public:
    // Of an item that only a request can add which nobody may execute.
    static constexpr const char* kForbiddenName = "Unsealed";

    Attacker(World& world, SimBus& bus, std::string serviceName);

    void Attack();

private:
    using Strings = std::vector<std::string>;

    // Somebody of whom the bus still knows.
    void EnsurePresence();
    std::string AnyVictim();
    WireMessage NewSignal(const std::string& path, const std::string& interface,
                          const std::string& member);
    WireMessage NewCall(const std::string& interface, const std::string& member);
    void Send(WireMessage message);

    void ForgeOwner();
    void ForgeLeaving();
    void ForgeNotification();
    void ForgeDisconnection();
    void ForgeReply();
    void CallWithNonsense();
    void CallWithBadFd();
    void CallByItsRules();
    void ChangeConnection();

    World& m_world;
    SimBus& m_bus;
    const std::string m_serviceName;
    std::string m_name;  // unique
};

}  // namespace sim
