// SPDX-License-Identifier: MIT

// A service and a partner on a bus, to both of which everything happens that can happen to a
// process, again and again in an order that a seed decides. After each blow the two must be equal
// within the tests' deadline. Called with the seconds to go on for and the seed.

#include <systemd/sd-event.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>

#include "partner/bus/SideProcess.h"
#include "support/PrivateBus.h"
#include "support/TestLoop.h"
#include "torture/Attacker.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr unsigned kCallsOfAFlood = 500;
// What each bus has to bear before it gives way to one of another kind.
constexpr int kBlowsToABus = 200;

class Scene {
public:
    Scene(const BusVariety& variety, std::mt19937& random) : m_bus(variety), m_random(random) {
        Restart(m_service, "service");
        Restart(m_partner, "partner");
    }

    // Strikes once, and returns with what.
    std::string Strike();

    // Throws when both sides are not equal by the deadline.
    void Converge();

private:
    struct Blow {
        const char* name;
        void (Scene::*strike)();
        unsigned weight;
    };
    static const Blow kBlows[];

    void Restart(std::optional<SideProcess>& side, const char* which) {
        side.emplace(which, m_bus.Address());
    }
    unsigned UpTo(unsigned most) {
        return std::uniform_int_distribution<unsigned>(0, most)(m_random);
    }
    void Work();
    void LetSomeTimePass();
    void Expect(const std::string& expected, const std::string& heard) const;

    void KillService();
    void KillPartner();
    void KillBus();
    void StopService();
    void StopPartner();
    void StopBus();
    void Flood();
    void Forge();
    void LeaveAReaderThatStopped();

    PrivateBus m_bus;
    std::mt19937& m_random;
    std::optional<SideProcess> m_service;
    std::optional<SideProcess> m_partner;
    std::unique_ptr<Attacker> m_deaf;  // never reads, for as long as it is there
};

const Scene::Blow Scene::kBlows[] = {
    {"kills of the service", &Scene::KillService, 20},
    {"kills of the partner", &Scene::KillPartner, 20},
    {"kills of the bus", &Scene::KillBus, 2},
    {"stops of the service", &Scene::StopService, 3},
    {"stops of the partner", &Scene::StopPartner, 3},
    {"stops of the bus", &Scene::StopBus, 3},
    {"floods", &Scene::Flood, 2},
    {"forgeries", &Scene::Forge, 4},
    {"readers that stopped", &Scene::LeaveAReaderThatStopped, 2},
};

std::string Scene::Strike() {
    unsigned all = 0;
    for (const Blow& blow : kBlows) all += blow.weight;
    unsigned drawn = UpTo(all - 1);
    for (const Blow& blow : kBlows) {
        if (drawn < blow.weight) {
            (this->*blow.strike)();
            return blow.name;
        }
        drawn -= blow.weight;
    }
    throw std::logic_error("no blow was drawn");
}

// Both have something under way when it happens. Their answers are heard afterwards.
void Scene::Work() {
    m_service->Tell("edit " + std::to_string(UpTo(20)));
    m_partner->Tell("write " + std::to_string(UpTo(50)));
}

// So that it does not always happen at the same place: up to 5 ms, on the clock of the loop.
void Scene::LetSomeTimePass() {
    bool isOver = false;
    sd_event_source* timer = nullptr;
    sd_event_add_time_relative(
        TestLoop(), &timer, CLOCK_MONOTONIC, UpTo(5000), 1,
        [](sd_event_source*, std::uint64_t, void* over) {
            *static_cast<bool*>(over) = true;
            return 0;
        },
        &isOver);
    RunUntil([&] { return isOver; });
    sd_event_source_disable_unref(timer);
}

void Scene::KillService() {
    Work();
    LetSomeTimePass();
    m_service->Kill();
    Restart(m_service, "service");
    m_partner->Hear();
}

void Scene::KillPartner() {
    Work();
    LetSomeTimePass();
    m_partner->Kill();
    Restart(m_partner, "partner");
    m_service->Hear();
}

void Scene::KillBus() {
    Work();
    LetSomeTimePass();
    m_deaf.reset();
    m_bus.Kill();
    m_bus.Start();
    m_service->Hear();
    m_partner->Hear();
}

void Scene::StopService() {
    m_service->Stop();
    m_partner->Ask("write " + std::to_string(UpTo(100)));
    LetSomeTimePass();
    m_service->Continue();
}

void Scene::StopPartner() {
    m_partner->Stop();
    m_service->Ask("edit " + std::to_string(UpTo(3000)));
    m_partner->Continue();
}

void Scene::StopBus() {
    m_bus.Stop();
    Work();
    m_service->Hear();
    m_partner->Hear();
    LetSomeTimePass();
    m_bus.Continue();
}

void Scene::Flood() {
    Attacker attacker(m_bus.Address(), m_random);
    Work();
    attacker.Flood(kCallsOfAFlood);
    m_service->Hear();
    m_partner->Hear();
}

void Scene::Forge() {
    Attacker attacker(m_bus.Address(), m_random);
    attacker.ForgeSignals();
}

void Scene::LeaveAReaderThatStopped() {
    m_deaf = std::make_unique<Attacker>(m_bus.Address(), m_random);
    m_deaf->AskInVain(kCallsOfAFlood);
}

void Scene::Expect(const std::string& expected, const std::string& heard) const {
    if (heard == expected) return;
    throw std::runtime_error("expected \"" + expected + "\", heard \"" + heard + "\"");
}

// The partner may hold the service for alive until it has asked it; then it waits for the next one.
void Scene::Converge() {
    const Clock::time_point deadline = Clock::now() + kTestDeadline;
    std::string heard;
    while (heard != "synchronized") {
        if (Clock::now() > deadline) Expect("synchronized", heard);
        Expect("joined", m_partner->Ask("join"));
        m_partner->Ask("clear");
        heard = m_partner->Ask("sync");
    }
    const std::string content = m_service->Ask("edit 3");
    Expect("shown", m_partner->Ask("await " + content));
    Expect(content, m_service->Ask("content"));
}

int Run(double seconds, unsigned seed) {
    std::mt19937 random(seed);
    std::map<std::string, int> struck;
    const auto buses = EveryBus();
    const auto end = Clock::now() + std::chrono::duration<double>(seconds);
    std::unique_ptr<Scene> scene;
    std::string blow = "the start";
    int round = 0;
    try {
        for (; Clock::now() < end; ++round) {
            if (round % kBlowsToABus == 0) {
                scene.reset();
                scene = std::make_unique<Scene>(buses[random() % buses.size()], random);
            }
            blow = scene->Strike();
            ++struck[blow];
            scene->Converge();
        }
    } catch (const std::exception& error) {
        std::cout << "seed " << seed << ", round " << round << ", after " << blow
                  << ": did not converge: " << error.what() << std::endl;
        return EXIT_FAILURE;
    }
    std::cout << "seed " << seed << ", " << round << " rounds, all of them converged:";
    for (const auto& each : struck) std::cout << ' ' << each.second << ' ' << each.first << ';';
    std::cout << std::endl;
    return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "usage: torture SECONDS SEED\n";
        return EXIT_FAILURE;
    }
    return Run(std::strtod(argv[1], nullptr),
               static_cast<unsigned>(std::strtoul(argv[2], nullptr, 10)));
}
