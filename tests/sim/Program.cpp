// SPDX-License-Identifier: MIT

#include "sim/Program.h"

#include <new>
#include <utility>

#include "bus/TransportError.h"
#include "sim/Memory.h"

namespace sim {

namespace {

// After a start that failed: what watches over programs starts them again.
constexpr Usec kRestartAfter = 500 * kMillisecond;

}  // namespace

Program::Program(World& world, const std::string& name, Complain complain)
    : m_world(world), m_process(world.Spawn(name)), m_complain(std::move(complain)) {}

void Program::Start() {
    m_isWanted = true;
    Do([this] { StartNow(); });
}

void Program::StartNow() {
    if (IsUp() || !m_isWanted) return;
    const std::string failure = Try([this] { Open(); });
    m_world.Log("%s: %s", m_process->name.c_str(), failure.empty() ? "is up" : failure.c_str());
    m_process->isStaying = failure.empty();
    if (failure.empty()) return;
    m_world.At(m_world.Now() + kRestartAfter, [this] {
        if (m_isWanted && !m_process->isDead) Start();
    });
}

void Program::End() {
    m_isWanted = false;
    Do([this] {
        m_process->isStaying = false;
        // By itself: nobody has memory end in his destructors.
        Close();
        m_process->isDead = false;
    });
}

// What it holds is taken down at its next turn, when it cannot reach anybody any more.
void Program::Kill() {
    m_process->isDead = true;
    m_world.Sever(m_process);
    End();
}

void Program::Finish() {
    End();
    Do([this] { m_process->isEnding = true; });
}

std::string Program::Try(const std::function<void()>& code) {
    try {
        const MemoryEnds ends(m_process->lacksMemory);
        code();
    } catch (const applist::TransportError& error) {
        return error.what();
    } catch (const std::bad_alloc& error) {
        if (!m_process->lacksMemory) m_complain("no memory, although there was some");
        return error.what();
    }
    return std::string();
}

}  // namespace sim
