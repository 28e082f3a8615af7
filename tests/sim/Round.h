// SPDX-License-Identifier: MIT

// One experiment: a service and its partners, edits and writes, and what goes wrong meanwhile.
// Afterwards all is healed, and then everything must be as promised. A seed gives one round,
// whatever came before it.

#pragma once

#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "sim/Attacker.h"
#include "sim/CallWatch.h"
#include "sim/Partner.h"
#include "sim/Reader.h"
#include "sim/Service.h"
#include "sim/SimBus.h"
#include "sim/Weather.h"
#include "sim/World.h"

namespace sim {

// The steps of an ordinary round.
constexpr int kSteps = 60;

class Round {
public:
    // `history` may be null. `only` names the one kind of fault that there may be; empty for any.
    Round(std::uint64_t seed, std::FILE* history, const std::string& only);

    // Returns what went wrong; empty for nothing.
    std::string Run();

    const World& TheWorld() const { return m_world; }
    const SimBus& TheBus() const { return m_bus; }
    const CallWatch& Calls() const { return m_calls; }
    std::uint64_t Synchronized() const;
    std::uint64_t ErrorLines() const { return m_errorLines; }

    // A line of the log, of the running process.
    void Log(int priority, const char* text);

private:
    void Complain(const std::string& what);
    bool IsOver() const { return !m_verdict.empty() || m_world.IsStuck(); }

    // ---- Steps
    void Begin();
    void LetMemoryEnd();
    void AwaitStart();
    void Step();
    void Act(std::uint64_t dice);
    void Edit();
    void Check();
    void CheckReturn();
    void CheckStaying(const Program& program, bool isForgiven);
    Partner& AnyPartner();
    Program& AnyProgram();
    std::string AnyId();
    std::string AnyName();
    Usec AnyTime();

    // ---- What befalls them
    void Disturb();
    void RestartBus();
    void Kill();
    void Stop();
    void BeAway();
    void Later(Usec time, std::function<void()> disturbance);
    void Stall();
    void Stick();
    void JumpInTime();
    void Disconnect();
    void TakeName();
    void RefuseCalls();
    void RefuseNames();

    // ---- Afterwards
    void Heal();
    void AwaitReturn();
    void Verify();
    bool AllAgree();
    std::string Show();
    void VerifySynchronize();
    void Finish();

    World m_world;
    SimBus m_bus;
    Weather m_weather;
    bool m_isHealed = false;
    Usec m_stuck = 0;  // when it last began to be
    std::string m_verdict;
    std::uint64_t m_errorLines = 0;
    Service m_service;
    std::vector<std::unique_ptr<Partner>> m_partners;
    Reader m_reader;
    std::vector<Follower*> m_followers;  // the partners, and in some rounds the reader
    std::vector<Program*> m_programs;    // all of them, and the service
    CallWatch m_calls;
    Attacker m_attacker;
};

}  // namespace sim
