// SPDX-License-Identifier: MIT

// A small machine: a clock that only moves when nobody has anything to do, processes that are
// fibers of one thread, and their connections to a bus. What a process takes from libc lands here
// (Libc*.cpp), so the real bus library and the real transport run in it unchanged.
//
// Who runs next is drawn among all that can.
//
// Lifetime: one at a time. Its processes must have ended when it goes.

#pragma once

#include <systemd/sd-event.h>

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "sim/Faults.h"
#include "sim/Fiber.h"
#include "sim/History.h"
#include "sim/Random.h"
#include "sim/Stream.h"
#include "sim/Time.h"

namespace sim {

struct Process {
    std::string name;
    sd_event* loop = nullptr;
    std::deque<std::function<void()>> tasks;  // done one by one, between two turns of the loop
    bool isEnding = false;                    // when it has no tasks any more
    bool isDead = false;                      // killed: it reaches nobody from now on
    bool lacksMemory = false;                 // the one for which memory ends
    Usec stoppedUntil = 0;
    bool wasHeldUp = false;        // stopped at some time, or its bus did not read
    bool isStaying = false;        // it has no reason to close a connection that works
    bool hasGivenUp = false;       // it did so all the same
    std::function<Usec()> wakeAt;  // when what it waits for is there
    std::unique_ptr<Fiber> fiber;

    bool IsDone() const { return fiber->IsDone(); }
    void StopUntil(Usec time) {
        stoppedUntil = time;
        wasHeldUp = true;
    }
};

// The bus's side of the connections.
class BusSide {
public:
    // Returns whether it lets the connection in.
    virtual bool Accept(const std::shared_ptr<Stream>& stream) = 0;
    virtual void Arrived(const std::shared_ptr<Stream>& stream) = 0;

protected:
    ~BusSide() = default;
};

class World {
public:
    // Null outside of a round.
    static World* Current();

    // `file` takes the history; it may be null.
    World(std::uint64_t seed, std::FILE* file);
    ~World();
    World(const World&) = delete;
    World& operator=(const World&) = delete;

    // ---- Time

    Usec Now() const { return m_now; }
    void RunFor(Usec time);
    void RunUntil(const std::function<bool()>& done, Usec deadline);
    void At(Usec time, std::function<void()> what) { m_events.emplace(time, std::move(what)); }
    // Somebody runs without end: the round is over.
    bool IsStuck() const { return m_isStuck; }
    // Each look at the clock takes a little time: who looks at it until it strikes gets there.
    void Tick() { ++m_now; }

    // ---- Processes

    Process* Spawn(const std::string& name);
    void Post(Process* process, std::function<void()> task);
    // The process whose code runs now; null outside of all of them.
    Process* Running() const { return m_running; }
    // The running process does nothing until the time that `wakeAt` returns.
    void Wait(std::function<Usec()> wakeAt);

    // ---- Connections

    // Returns null when the bus refuses.
    std::shared_ptr<Stream> Connect();
    // All connections of `process` break.
    void Sever(Process* process);
    void Hurry(bool alsoSilent);
    Usec Latency();
    int NewSocketId() { return ++m_socketsSoFar; }

    // ---- What happens

    // Draws whether a fault of this chance strikes now, and notes it.
    bool Strikes(unsigned chance, const char* fault);
    void Fault(const char* name);
    void Log(const char* format, ...) __attribute__((format(printf, 2, 3)));
    const History& Past() const { return m_history; }

    Random m_random;
    Faults m_faults;
    BusSide* m_bus = nullptr;
    std::int64_t m_realtimeOffset = 1700000000000000;
    std::uint64_t m_switches = 0;
    // Descriptors that processes have open: see FileTable.h.
    std::size_t m_openFiles = 0;

private:
    struct Choice {
        Process* process;
        std::shared_ptr<Stream> stream;
    };

    void Live(Process& process);
    bool RunDueEvent();
    void CountStep();
    void Step(Usec until);
    Usec Choices(Usec until);
    void Run(const Choice& choice);
    void ForgetClosedStreams();

    History m_history;
    Usec m_now = kBeginning;
    Usec m_second = 0;  // when the one that is counted began
    std::uint64_t m_stepsInSecond = 0;
    bool m_isStuck = false;
    Process* m_running = nullptr;
    std::vector<std::unique_ptr<Process>> m_processes;
    std::vector<std::shared_ptr<Stream>> m_streams;
    int m_socketsSoFar = 0;
    std::multimap<Usec, std::function<void()>> m_events;
    std::vector<Choice> m_choices;
};

}  // namespace sim
