// SPDX-License-Identifier: MIT

// A system bus as the distribution sets it up, with no rule but who may own and call the service:
// neither side ever asks it for something that it refuses.

#include <sched.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <stdexcept>

#include "partner/bus/PartnerBusTest.h"

namespace {

constexpr uid_t kNobody = 65534;

// A method that there is not, on an interface that no rule lets through.
const char kRefused[] = "RefusedToTheTest";

// The rules for everyone, from the configuration that is installed.
std::string StockPolicy() {
    std::ostringstream text;
    text << std::ifstream("/usr/share/dbus-1/system.conf").rdbuf();
    const std::string all = text.str();
    const std::string end = "</policy>";
    const std::size_t from = all.find("<policy context=\"default\">");
    const std::size_t to = all.find(end, from);
    if (from == std::string::npos || to == std::string::npos) {
        throw std::runtime_error("the system bus's configuration is not the usual one");
    }
    return all.substr(from, to + end.size() - from);
}

std::string SystemBus() {
    return "<type>system</type>" + StockPolicy() + "<policy user=\"" + std::to_string(getuid()) +
           "\"><allow own=\"org.tessel.Local.Applist\"/></policy>" +
           "<policy context=\"default\">"
           "<allow send_destination=\"org.tessel.Local.Applist\"/></policy>";
}

}  // namespace

class ASystemBus : public PartnerBusTest {
protected:
    ASystemBus() : PartnerBusTest(SystemBus()) {}

    // As another user, when this is root.
    void StartPartnerProcess() {
        const bool isRoot = geteuid() == 0;
        m_partner.emplace("partner", m_bus->Address(),
                          isRoot ? std::optional<uid_t>(kNobody) : std::nullopt);
    }

    void AwaitInPartner(const std::string& content) {
        EXPECT_EQ("shown", m_partner->Ask("await " + content));
    }

    bool IsPartnersChannelTaken() {
        const auto deadline = std::chrono::steady_clock::now() + kTestDeadline;
        while (m_partner->Ask("way") != "a channel") {
            if (std::chrono::steady_clock::now() > deadline) return false;
        }
        return true;
    }

    // Asks for something that the bus refuses, and returns what the bus has said until then.
    std::string OutputBeforeARefusal() const {
        sd_bus* bus = nullptr;
        sd_bus_new(&bus);
        sd_bus_set_address(bus, m_bus->Address().c_str());
        sd_bus_set_bus_client(bus, 1);
        sd_bus_start(bus);
        EXPECT_EQ(-EACCES,
                  sd_bus_call_method(bus, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                     "org.example.Marker", kRefused, nullptr, nullptr, ""));
        sd_bus_flush_close_unref(bus);
        const auto deadline = std::chrono::steady_clock::now() + kTestDeadline;
        for (;;) {
            const std::string output = m_bus->Output();
            const std::size_t marker = output.find(kRefused);
            if (marker != std::string::npos) {
                return output.substr(0, output.rfind('\n', marker) + 1);
            }
            if (std::chrono::steady_clock::now() > deadline) return "no refusal is ever logged";
            sched_yield();
        }
    }

    std::optional<SideProcess> m_partner;
};

ON_BOTH_BUSES(ASystemBus);

// The partner is there before the service, follows it through its return and the bus's, uses all
// that there is, and leaves.
TEST_P(ASystemBus, RefusesNothingThatEitherSideAsksFor) {
    StartPartnerProcess();
    StartService();
    AwaitInPartner(m_service->Ask("add maps"));
    EXPECT_EQ("used", m_partner->Ask("use"));
    m_service->Kill();
    StartService();
    AwaitInPartner(m_service->Ask("add radio"));
    m_bus->Kill();
    m_bus->Start();
    AwaitInPartner(m_service->Ask("add music"));
    EXPECT_EQ("used", m_partner->Ask("use"));
    EXPECT_EQ(0, m_partner->End());
    EXPECT_EQ(0, m_service->End());

    const std::string output = OutputBeforeARefusal();

    EXPECT_EQ(std::string::npos, output.find("Rejected")) << output;
    EXPECT_EQ(std::string::npos, output.find("denied")) << output;
    EXPECT_EQ(std::string::npos, output.find("no refusal is ever logged"));
}

TEST_P(ASystemBus, IsNotNeededByAPartnerOfAnotherUserThatHasAChannel) {
    StartService();
    StartPartnerProcess();
    ASSERT_TRUE(IsPartnersChannelTaken());
    m_bus->Stop();

    m_partner->Ask("write 2");
    EXPECT_EQ("synchronized", m_partner->Ask("sync"));

    EXPECT_EQ(m_service->Ask("content"), m_partner->Ask("content"));
    EXPECT_NE("()", m_service->Ask("content"));
    m_bus->Continue();
}
