// SPDX-License-Identifier: MIT

#include "sim/Basics.h"

#include <systemd/sd-event.h>
#include <systemd/sd-id128.h>

#include <cstdlib>

#include "sim/Libc.h"
#include "sim/Partner.h"
#include "sim/Service.h"

namespace sim {

namespace {

// ---- The interposition --------------------------------------------------------------------------

constexpr Usec kWait = 10 * kSecond;

Usec RealNow() {
    struct timespec now;
    APPLIST_SIM_REAL(clock_gettime)(CLOCK_MONOTONIC, &now);
    return static_cast<Usec>(now.tv_sec) * kSecond + static_cast<Usec>(now.tv_nsec) / 1000;
}

// Lets nobody in.
class NoBus : public BusSide {
public:
    bool Accept(const std::shared_ptr<Stream>&) override { return false; }
    void Arrived(const std::shared_ptr<Stream>&) override {}
};

int EndWait(sd_event_source*, std::uint64_t, void* isOver) {
    *static_cast<bool*>(isOver) = true;
    return 0;
}

// Waits in the loop of a simulated process, and returns how long that took in real time.
Usec RealTimeOfWait(World& world) {
    Process* const process = world.Spawn("sleeper");
    bool isOver = false;
    world.Post(process, [&] {
        sd_event_source* source = nullptr;
        sd_event_add_time_relative(process->loop, &source, CLOCK_MONOTONIC, kWait, 0, EndWait,
                                   &isOver);
        while (!isOver && sd_event_run(process->loop, UINT64_MAX) >= 0) continue;
        sd_event_source_unref(source);
        process->isEnding = true;
    });
    const Usec before = RealNow();
    world.RunUntil([&] { return process->IsDone(); }, kBeginning + 2 * kWait);
    return RealNow() - before;
}

// Whether the bus library has the simulated boot's id: what it reads first, it keeps.
bool HasBootId(World& world) {
    Process* const process = world.Spawn("reader");
    sd_id128_t id{};
    world.Post(process, [&] {
        if (sd_id128_get_boot(&id) < 0) id = {};
        process->isEnding = true;
    });
    world.RunUntil([&] { return process->IsDone(); }, world.Now() + kSecond);
    sd_id128_t expected;
    return sd_id128_from_string(kBootId, &expected) >= 0 && sd_id128_equal(id, expected) != 0;
}

// ---- A service and a partner --------------------------------------------------------------------

class Pair {
public:
    explicit Pair(bool hasChannel)
        : m_hasChannel(hasChannel),
          m_world(1, nullptr),
          m_bus(m_world),
          m_service(m_world, [this](const std::string& what) { Complain(what); }),
          m_partner(m_world, "partner", m_service, m_weather,
                    [this](const std::string& what) { Complain(what); }) {
        m_service.Start();
        m_partner.Start();
    }

    std::string Run() {
        setenv("APPLIST_DIRECT", m_hasChannel ? "1" : "0", 1);
        Converge(100 * kMillisecond, "the partner does not show the list");
        m_world.RunFor(kSecond);
        m_world.m_faults.loseSignal = 1000;
        m_service.Edit(0, 0, "Second", "b");
        Converge(5 * kSecond, "a lost event is not noticed within 5 s");
        Expect(m_world.Past().Faults().count("lost signal") == (m_hasChannel ? 0 : 1),
               "events do not go the way that they should");
        WaitForService();
        Finish();
        return m_verdict;
    }

private:
    void Complain(const std::string& what) {
        if (m_verdict.empty()) m_verdict = what;
    }
    void Expect(bool holds, const char* otherwise) {
        if (!holds) Complain(otherwise);
    }

    void Converge(Usec within, const char* otherwise) {
        const auto isEqual = [this] {
            return m_partner.SeesService() && m_service.IsUp() &&
                   m_partner.Shown() == m_service.Truth();
        };
        m_world.RunFor(kMillisecond);
        m_world.RunUntil(isEqual, m_world.Now() + within);
        Expect(isEqual(), otherwise);
    }

    // It stands for longer than a call may take, and goes on.
    void WaitForService() {
        m_service.Where()->stoppedUntil = m_world.Now() + 8 * kSecond;
        m_partner.Synchronize();
        m_world.RunFor(7 * kSecond);
        Expect(m_partner.Synchronized() == 0, "a service that stands has answered");
        m_partner.Synchronize();
        m_world.RunFor(2 * kSecond);
        Expect(m_partner.Synchronized() == 1, "a service that goes on does not answer");
    }

    void Finish() {
        m_service.Finish();
        m_partner.Finish();
        m_world.RunFor(5 * kSecond);
        Expect(m_service.Where()->IsDone() && m_partner.Where()->IsDone(), "somebody does not end");
        Expect(m_world.m_openFiles == 0, "files are left open");
    }

    const bool m_hasChannel;
    World m_world;
    SimBus m_bus;
    const Weather m_weather;
    std::string m_verdict;
    Service m_service;
    Partner m_partner;
};

}  // namespace

std::string WhyNotSimulated() {
    World world(1, nullptr);
    NoBus bus;
    world.m_bus = &bus;
    const Usec took = RealTimeOfWait(world);
    if (took > kWait / 2) {
        return "waiting takes real time: the bus library does not call this program's functions";
    }
    if (world.Now() < kBeginning + kWait) return "a wait ends too early";
    if (!HasBootId(world)) return "the bus library reads the boot's id past this program";
    if (world.m_openFiles != 0) return "descriptors are not closed where they were opened";
    return std::string();
}

std::string WhyNoBasics() {
    const std::string verdict = Pair(/* hasChannel */ false).Run();
    return verdict.empty() ? Pair(/* hasChannel */ true).Run() : verdict;
}

}  // namespace sim
