// SPDX-License-Identifier: MIT

// A simulated process and what both kinds of programs in it have in common: they start again when
// they fail to, they are killed, and they end.
//
// Lifetime: goes after its world has let the process end.

#pragma once

#include <functional>
#include <string>

#include "sim/World.h"

namespace sim {

// Told what is wrong.
using Complain = std::function<void(const std::string&)>;

class Program {
public:
    Program(World& world, const std::string& name, Complain complain);
    virtual ~Program() = default;
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    Process* Where() const { return m_process; }

    // All of these take place in the process, as soon as it gets to run.
    void Start();
    void End();
    void Kill();
    // Ends the process, too.
    void Finish();

    // Whether it is meant to run, and whether it does.
    bool IsWanted() const { return m_isWanted; }
    virtual bool IsUp() const = 0;

protected:
    virtual void Open() = 0;  // may throw what the code under test throws
    virtual void Close() = 0;

    // Has the process do something.
    void Do(std::function<void()> what) { m_world.Post(m_process, std::move(what)); }
    // Runs code under test, for which memory may end, and returns what it throws as text; empty for
    // nothing.
    std::string Try(const std::function<void()>& code);

    World& m_world;
    Process* const m_process;
    const Complain m_complain;

private:
    void StartNow();

    bool m_isWanted = false;
};

}  // namespace sim
