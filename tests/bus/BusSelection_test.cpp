// SPDX-License-Identifier: MIT

#include "bus/BusSelection.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>

#include "bus/TransportError.h"
#include "support/SilentBus.h"

using applist::BusKind;
using applist::BusLocation;
using applist::SelectBus;
using applist::SelectBusAddress;
using applist::SelectedBus;
using applist::SetBusTimeout;
using applist::TransportError;
namespace transport_limits = applist::transport_limits;

namespace {

const char* const kVariables[] = {"DBUS_STARTER_ADDRESS", "DBUS_STARTER_BUS_TYPE",
                                  "DBUS_SESSION_BUS_ADDRESS", "DBUS_SYSTEM_BUS_ADDRESS",
                                  "XDG_RUNTIME_DIR"};

}  // namespace

// Starts with none of the variables set and no choice made.
class TheSelectedBus : public ::testing::Test {
protected:
    TheSelectedBus() {
        SelectBus(BusKind::Automatic);
        for (const char* name : kVariables) {
            const char* value = std::getenv(name);
            if (value != nullptr) m_before[name] = value;
            unsetenv(name);
        }
        char folder[] = "/tmp/applist-runtime-XXXXXX";
        if (mkdtemp(folder) == nullptr) throw std::runtime_error("no folder");
        m_folder = folder;
    }

    ~TheSelectedBus() override {
        SelectBus(BusKind::Automatic);
        SetBusTimeout(transport_limits::kStartTimeout);
        for (const char* name : kVariables) unsetenv(name);
        for (const auto& variable : m_before) Set(variable.first.c_str(), variable.second);
        std::error_code ignored;
        std::filesystem::remove_all(m_folder, ignored);
    }

    static void Set(const char* name, const std::string& value) { setenv(name, value.c_str(), 1); }

    std::map<std::string, std::string> m_before;
    std::string m_folder;
};

TEST_F(TheSelectedBus, IsTheOneThatStartedTheProgram) {
    Set("DBUS_STARTER_ADDRESS", "unix:path=/starter");
    Set("DBUS_STARTER_BUS_TYPE", "session");
    Set("DBUS_SESSION_BUS_ADDRESS", "unix:path=/session");

    EXPECT_EQ("unix:path=/starter", SelectedBus().address);
    EXPECT_EQ("the bus that started this program at unix:path=/starter", SelectedBus().description);
}

TEST_F(TheSelectedBus, HasFiveSecondsToAnswerOrWhatTheApplicationSays) {
    EXPECT_EQ(std::chrono::seconds(5), SelectedBus().timeout);

    SetBusTimeout(std::chrono::milliseconds(200));
    SelectBusAddress("unix:path=/chosen");

    EXPECT_EQ(std::chrono::milliseconds(200), SelectedBus().timeout);
}

TEST_F(TheSelectedBus, IsOfTheKindThatStartedTheProgram) {
    Set("DBUS_STARTER_BUS_TYPE", "system");
    Set("DBUS_SESSION_BUS_ADDRESS", "unix:path=/session");
    Set("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/system");
    EXPECT_EQ("unix:path=/system", SelectedBus().address);

    Set("DBUS_STARTER_BUS_TYPE", "session");
    EXPECT_EQ("unix:path=/session", SelectedBus().address);
}

TEST_F(TheSelectedBus, IsTheSessionBusThatTheEnvironmentNames) {
    Set("DBUS_SESSION_BUS_ADDRESS", "unix:path=/session");

    EXPECT_EQ("unix:path=/session", SelectedBus().address);
    EXPECT_EQ("the session bus at unix:path=/session", SelectedBus().description);
}

TEST_F(TheSelectedBus, IsTheSessionBusInTheRuntimeFolder) {
    const SilentBus bus(m_folder + "/bus");
    Set("XDG_RUNTIME_DIR", m_folder);

    EXPECT_EQ("unix:path=" + m_folder + "/bus", SelectedBus().address);
}

TEST_F(TheSelectedBus, IsWrittenInTheNotationOfAddressesWhateverTheFolderIsCalled) {
    const std::string odd = m_folder + "/a b,c;d=e%f";
    ASSERT_EQ(0, mkdir(odd.c_str(), 0700));
    const SilentBus bus(odd + "/bus");
    Set("XDG_RUNTIME_DIR", odd);

    EXPECT_EQ("unix:path=" + m_folder + "/a%20b%2cc%3bd%3de%25f/bus", SelectedBus().address);
}

TEST_F(TheSelectedBus, IsTheNamedOneBeforeTheOneInTheRuntimeFolder) {
    const SilentBus bus(m_folder + "/bus");
    Set("XDG_RUNTIME_DIR", m_folder);
    Set("DBUS_SESSION_BUS_ADDRESS", "unix:path=/session");

    EXPECT_EQ("unix:path=/session", SelectedBus().address);
}

TEST_F(TheSelectedBus, IsTheSystemBusWhenThereIsNoSessionBus) {
    Set("XDG_RUNTIME_DIR", m_folder);
    EXPECT_EQ("unix:path=/run/dbus/system_bus_socket", SelectedBus().address);
    EXPECT_EQ("the system bus at unix:path=/run/dbus/system_bus_socket", SelectedBus().description);

    std::ofstream(m_folder + "/bus") << "no socket";
    EXPECT_EQ("unix:path=/run/dbus/system_bus_socket", SelectedBus().address);
}

TEST_F(TheSelectedBus, SaysThatThereIsNoSessionBusWhenItIsTheSystemBusForWantOfOne) {
    EXPECT_EQ(
        "there is no session bus: DBUS_SESSION_BUS_ADDRESS is not set and XDG_RUNTIME_DIR "
        "has no bus; start the program with dbus-run-session, or choose another bus",
        SelectedBus().advice);

    SelectBus(BusKind::System);
    EXPECT_EQ("check that the bus is running, or choose another one", SelectedBus().advice);
}

TEST_F(TheSelectedBus, IsTheSystemBusThatTheEnvironmentNames) {
    Set("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/system");

    EXPECT_EQ("unix:path=/system", SelectedBus().address);
}

TEST_F(TheSelectedBus, TakesAnEmptyVariableForNone) {
    Set("DBUS_STARTER_ADDRESS", "");
    Set("DBUS_STARTER_BUS_TYPE", "");
    Set("DBUS_SESSION_BUS_ADDRESS", "");
    Set("DBUS_SYSTEM_BUS_ADDRESS", "");
    Set("XDG_RUNTIME_DIR", "");

    EXPECT_EQ("unix:path=/run/dbus/system_bus_socket", SelectedBus().address);
}

TEST_F(TheSelectedBus, IsTheOneThatTheApplicationChose) {
    Set("DBUS_STARTER_ADDRESS", "unix:path=/starter");
    Set("DBUS_SESSION_BUS_ADDRESS", "unix:path=/session");
    Set("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/system");

    SelectBus(BusKind::System);
    EXPECT_EQ("unix:path=/system", SelectedBus().address);
    SelectBus(BusKind::Session);
    EXPECT_EQ("unix:path=/session", SelectedBus().address);
    SelectBusAddress("unix:path=/chosen");
    EXPECT_EQ("unix:path=/chosen", SelectedBus().address);
    EXPECT_EQ("the bus at unix:path=/chosen", SelectedBus().description);
    SelectBus(BusKind::Automatic);
    EXPECT_EQ("unix:path=/starter", SelectedBus().address);
}

TEST_F(TheSelectedBus, IsTheLocationThatTheApplicationDescribed) {
    BusLocation location;
    location.description = "the bus of a friend";
    location.address = "unix:path=/friend";
    location.advice = "ask the friend";
    location.timeout = std::chrono::seconds(60);
    SetBusTimeout(std::chrono::milliseconds(200));
    SelectBus(location);

    EXPECT_EQ("unix:path=/friend", SelectedBus().address);
    EXPECT_EQ("the bus of a friend", SelectedBus().description);
    EXPECT_EQ("ask the friend", SelectedBus().advice);
    EXPECT_EQ(std::chrono::seconds(60), SelectedBus().timeout);
    SelectBusAddress("unix:path=/chosen");
    EXPECT_EQ("the bus at unix:path=/chosen", SelectedBus().description);
}

TEST_F(TheSelectedBus, IsNoneWhenASessionBusWasChosenAndThereIsNone) {
    Set("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/system");
    SelectBus(BusKind::Session);

    try {
        SelectedBus();
        FAIL() << "it chose " << SelectedBus().address;
    } catch (const TransportError& error) {
        const std::string text = error.what();
        EXPECT_NE(std::string::npos, text.find("no session bus")) << text;
        EXPECT_NE(std::string::npos, text.find("DBUS_SESSION_BUS_ADDRESS")) << text;
        EXPECT_NE(std::string::npos, text.find("dbus-run-session")) << text;
    }
}
