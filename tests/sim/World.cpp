// SPDX-License-Identifier: MIT

#include "sim/World.h"

#include <algorithm>
#include <cstdarg>
#include <utility>

#include "sim/Memory.h"

namespace sim {

namespace {

World* theWorld = nullptr;

// In one second, of all processes: sane ones need less than a tenth, also when connections break
// all the time.
constexpr std::uint64_t kMostSteps = 100000;

}  // namespace

World* World::Current() {
    return theWorld;
}

World::World(std::uint64_t seed, std::FILE* file) : m_random(seed), m_history(file) {
    theWorld = this;
}

World::~World() {
    theWorld = nullptr;
}

// ---- Time ---------------------------------------------------------------------------------------

void World::RunFor(Usec time) {
    RunUntil([] { return false; }, m_now + time);
}

void World::RunUntil(const std::function<bool()>& done, Usec deadline) {
    while (m_now < deadline && !m_isStuck && !done()) {
        CountStep();
        Step(deadline);
    }
    ForgetClosedStreams();
}

// Who is busy without end takes steps, and hardly any time.
void World::CountStep() {
    if (m_now >= m_second + kSecond) {
        m_second = m_now;
        m_stepsInSecond = 0;
    }
    m_isStuck = ++m_stepsInSecond > kMostSteps;
}

// One thing that can happen now; when there is none, time passes.
void World::Step(Usec until) {
    if (RunDueEvent()) return;
    m_choices.clear();
    const Usec next = Choices(until);
    if (m_choices.empty()) {
        m_now = std::max(m_now, next);
    } else {
        Run(m_choices[m_choices.size() == 1 ? 0 : m_random.Below(m_choices.size())]);
    }
}

bool World::RunDueEvent() {
    if (m_events.empty() || m_events.begin()->first > m_now) return false;
    const auto what = std::move(m_events.begin()->second);
    m_events.erase(m_events.begin());
    what();
    return true;
}

// Collects what can run now, and returns when something else can, `until` at the latest.
Usec World::Choices(Usec until) {
    Usec next = until;
    if (!m_events.empty()) next = std::min(next, m_events.begin()->first);
    for (const auto& process : m_processes) {
        if (process->IsDone()) continue;
        const Usec at = std::max(process->wakeAt(), process->stoppedUntil);
        if (at <= m_now) m_choices.push_back({process.get(), nullptr});
        next = std::min(next, at);
    }
    for (const auto& stream : m_streams) {
        const Usec at = stream->ArrivesAt();
        if (at <= m_now) m_choices.push_back({nullptr, stream});
        next = std::min(next, at);
    }
    return next;
}

void World::Run(const Choice& choice) {
    if (choice.stream != nullptr) return m_bus->Arrived(choice.stream);
    ++m_switches;
    m_running = choice.process;
    choice.process->fiber->Resume();
    m_running = nullptr;
}

// ---- Processes ----------------------------------------------------------------------------------

Process* World::Spawn(const std::string& name) {
    m_processes.push_back(std::make_unique<Process>());
    Process* const process = m_processes.back().get();
    process->name = name;
    process->wakeAt = [] { return Usec{0}; };
    process->fiber = std::make_unique<Fiber>([this, process] { Live(*process); });
    return process;
}

void World::Post(Process* process, std::function<void()> task) {
    process->tasks.push_back(std::move(task));
}

// A process: one loop of its own, as its thread's default (see LibcEvents.cpp).
void World::Live(Process& process) {
    sd_event_new(&process.loop);
    while (!process.isEnding || !process.tasks.empty()) {
        if (!process.tasks.empty()) {
            const std::function<void()> task = std::move(process.tasks.front());
            process.tasks.pop_front();
            task();
            continue;
        }
        const MemoryEnds ends(process.lacksMemory);
        const int result = sd_event_run(process.loop, UINT64_MAX);
        if (result >= 0) continue;
        Log("%s: the loop fails: %d", process.name.c_str(), result);
        m_isStuck = true;
        break;
    }
    process.loop = sd_event_unref(process.loop);
}

void World::Wait(std::function<Usec()> wakeAt) {
    m_running->wakeAt = std::move(wakeAt);
    Fiber::Wait();
}

// ---- Connections --------------------------------------------------------------------------------

std::shared_ptr<Stream> World::Connect() {
    auto stream = std::make_shared<Stream>(*this, m_running, NewSocketId());
    if (m_running->isDead || !m_bus->Accept(stream)) return nullptr;
    Log("%s connects: stream %d", m_running->name.c_str(), stream->Id());
    m_streams.push_back(stream);
    return stream;
}

void World::Sever(Process* process) {
    for (const auto& stream : m_streams) {
        if (stream->Owner() == process && stream->IsOpenHere()) stream->Break();
    }
}

void World::Hurry(bool alsoSilent) {
    for (const auto& stream : m_streams) stream->Hurry(alsoSilent);
    for (const auto& process : m_processes) process->stoppedUntil = 0;
}

void World::ForgetClosedStreams() {
    m_streams.erase(std::remove_if(m_streams.begin(), m_streams.end(),
                                   [](const auto& stream) { return !stream->IsOpen(); }),
                    m_streams.end());
}

Usec World::Latency() {
    const Usec latency = 5 + m_random.Below(60);
    if (!Strikes(m_faults.delay, "delay")) return latency;
    return latency + m_random.Below(m_faults.longestDelay + 1);
}

// ---- What happens -------------------------------------------------------------------------------

bool World::Strikes(unsigned chance, const char* fault) {
    if (!m_random.Permille(chance)) return false;
    Fault(fault);
    return true;
}

void World::Fault(const char* name) {
    m_history.CountFault(name);
    Log("fault %s", name);
}

void World::Log(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    m_history.Write(m_now, format, arguments);
    va_end(arguments);
}

}  // namespace sim
