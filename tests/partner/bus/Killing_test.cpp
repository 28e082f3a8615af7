// SPDX-License-Identifier: MIT

// Either side is killed in the middle of its work, again and again: afterwards both are equal, and
// neither the service nor the bus is left with anything of the dead.

#include <systemd/sd-bus.h>

#include <cstdlib>
#include <random>

#include "partner/bus/PartnerBusTest.h"

namespace {

constexpr unsigned kSeed = 20240229;
constexpr int kRounds = 100;

}  // namespace

class BothSides : public PartnerBusTest {
protected:
    BothSides() {
        StartService();
        StartPartnerProcess();
    }

    void StartPartnerProcess() { m_partner.emplace("partner", m_bus->Address()); }

    // Lets up to `limit` of microseconds pass.
    void WaitForAMoment(unsigned limit) {
        bool isOver = false;
        sd_event_source* timer = nullptr;
        sd_event_add_time_relative(
            TestLoop(), &timer, CLOCK_MONOTONIC, m_random() % limit, 1,
            [](sd_event_source*, std::uint64_t, void* over) {
                *static_cast<bool*>(over) = true;
                return 0;
            },
            &isOver);
        RunUntil([&] { return isOver; });
        sd_event_source_disable_unref(timer);
    }

    void KillAndRestart(std::optional<SideProcess>& side, const char* which) {
        side->Kill();
        side.emplace(which, m_bus->Address());
    }

    // How many connections the bus has, but for the one that asks.
    std::size_t Connections() const {
        sd_bus* bus = nullptr;
        char** names = nullptr;
        sd_bus_new(&bus);
        sd_bus_set_address(bus, m_bus->Address().c_str());
        sd_bus_set_bus_client(bus, 1);
        sd_bus_start(bus);
        EXPECT_GE(sd_bus_list_names(bus, &names, nullptr), 0);
        std::size_t count = 0;
        for (char** name = names; name != nullptr && *name != nullptr; ++name) {
            if (**name == ':') ++count;
            free(*name);
        }
        free(names);
        sd_bus_flush_close_unref(bus);
        return count - 1;
    }

    std::mt19937 m_random{kSeed};
    std::optional<SideProcess> m_partner;
};

ON_BOTH_BUSES(BothSides);

TEST_P(BothSides, AreEqualAgainAfterAHundredKillsOfEither) {
    const std::size_t connections = Connections();
    for (int round = 0; round < kRounds; ++round) {
        SCOPED_TRACE("seed " + std::to_string(kSeed) + ", round " + std::to_string(round));
        m_service->Tell("edit " + std::to_string(m_random() % 20));
        m_partner->Tell("write " + std::to_string(m_random() % 50));
        WaitForAMoment(5000);
        if (m_random() % 2 == 0) {
            KillAndRestart(m_service, "service");
            m_partner->Hear();  // of the writes
        } else {
            KillAndRestart(m_partner, "partner");
            m_service->Hear();  // of the edits
        }

        m_partner->Ask("clear");
        m_partner->Ask("sync");
        const std::string content = m_service->Ask("edit 3");
        const auto start = std::chrono::steady_clock::now();
        ASSERT_EQ("shown", m_partner->Ask("await " + content));
        ASSERT_LT(std::chrono::steady_clock::now() - start, kBack);
        ASSERT_EQ(content, m_service->Ask("content")) << "the list changed after it was quiet";
    }
    EXPECT_EQ(connections, Connections()) << "the bus keeps something of the dead";
}
