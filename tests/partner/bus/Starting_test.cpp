// SPDX-License-Identifier: MIT

// A service that nobody runs, on a bus that knows how to start it. dbus-daemon starts by itself;
// dbus-broker needs a service manager for it, and says that there is nothing to start.

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "partner/bus/BareRemote.h"
#include "partner/bus/PartnerBusTest.h"

namespace {

// A folder with one service file, which says to run `command` in a shell. The name of the bus that
// starts it is in DBUS_STARTER_ADDRESS there.
class ServiceFolder {
public:
    explicit ServiceFolder(const std::string& command) {
        char folder[] = "/tmp/applist-services-XXXXXX";
        EXPECT_NE(nullptr, mkdtemp(folder));
        m_path = folder;
        std::ofstream(m_path + "/applist.service")
            << "[D-BUS Service]\nName=org.tessel.Local.Applist\nExec=/bin/sh -c '" << command
            << "'\n";
    }
    ~ServiceFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    ServiceFolder(const ServiceFolder&) = delete;
    ServiceFolder& operator=(const ServiceFolder&) = delete;

    std::string BusConfiguration() const {
        return "<servicedir>" + m_path +
               "</servicedir><policy context=\"default\">"
               "<allow send_destination=\"*\"/><allow receive_sender=\"*\"/><allow own=\"*\"/>"
               "</policy>";
    }

private:
    std::string m_path;
};

// Runs until the bus that started it has gone, or has killed it.
const char kService[] =
    "tail -f /dev/null | " PARTNER_TEST_SIDE " service \"$DBUS_STARTER_ADDRESS\" >/dev/null";

}  // namespace

class AServiceThatTheBusStarts : public PartnerBusTest {
protected:
    explicit AServiceThatTheBusStarts(const std::string& command = kService)
        : AServiceThatTheBusStarts(std::make_unique<ServiceFolder>(command)) {}

    std::unique_ptr<ServiceFolder> m_folder;

private:
    explicit AServiceThatTheBusStarts(std::unique_ptr<ServiceFolder> folder)
        : PartnerBusTest(folder->BusConfiguration()), m_folder(std::move(folder)) {}
};

INSTANTIATE_TEST_SUITE_P(OnABusThatStarts, AServiceThatTheBusStarts,
                         ::testing::Values(BusVariety{BusProgram::Daemon, BusLimits::BuiltIn}),
                         [](const auto& test) { return NameOf(test.param); });

TEST_P(AServiceThatTheBusStarts, IsThereForAPartnerThatComesFirst) {
    StartPartner();

    EXPECT_EQ("", CauseOfSynchronize());
    EXPECT_TRUE(RunUntil([&] { return m_model->IsServiceThere(); }));
}

TEST_P(AServiceThatTheBusStarts, TakesTheCallsThatWaitedForIt) {
    BareRemote remote;
    remote.Ask();

    ASSERT_TRUE(RunUntil([&] { return !remote.m_outcomes.empty(); }));
    EXPECT_EQ("", remote.m_outcomes.front());
}

TEST_P(AServiceThatTheBusStarts, IsNotStartedForAPartnerThatDoesNotWantIt) {
    BareRemote remote;
    remote.SetStartsService(false);
    remote.Ask();

    ASSERT_TRUE(RunUntil([&] { return !remote.m_outcomes.empty(); }));
    EXPECT_EQ("NoService", remote.m_outcomes.front());
}

class AServiceThatCannotBeStarted : public AServiceThatTheBusStarts {
protected:
    AServiceThatCannotBeStarted() : AServiceThatTheBusStarts("exit 3") {}
};

INSTANTIATE_TEST_SUITE_P(OnABusThatStarts, AServiceThatCannotBeStarted,
                         ::testing::Values(BusVariety{BusProgram::Daemon, BusLimits::BuiltIn}),
                         [](const auto& test) { return NameOf(test.param); });

TEST_P(AServiceThatCannotBeStarted, IsNotThereAndTheLogSaysWhy) {
    BareRemote remote;
    remote.Ask();

    ASSERT_TRUE(RunUntil([&] { return !remote.m_outcomes.empty(); }));
    EXPECT_EQ("NoService", remote.m_outcomes.front());
    EXPECT_EQ(1u, ErrorsLogged("could not be started")) << WholeLog();
}

class AServiceThatNobodyCanStart : public PartnerBusTest {};

ON_BOTH_BUSES(AServiceThatNobodyCanStart);

TEST_P(AServiceThatNobodyCanStart, IsJustNotThere) {
    BareRemote remote;
    remote.Ask();

    ASSERT_TRUE(RunUntil([&] { return !remote.m_outcomes.empty(); }));
    EXPECT_EQ("NoService", remote.m_outcomes.front());
    EXPECT_EQ("", WholeLog());
}
