// SPDX-License-Identifier: MIT

// Names of endpoints and addresses of buses, from whatever a user or the environment gives: an
// address says exactly what it was made from, and no value gets out of its place in it.
//
// Input: the kind of bus, a name, a host, then the variables of kVariables.

#include <systemd/sd-bus.h>

#include <cstdlib>
#include <cstring>
#include <iterator>
#include <map>
#include <optional>
#include <string>

#include "apps/applistctl/Host.h"
#include "bus/BusSelection.h"
#include "bus/EndpointNames.h"
#include "bus/TransportError.h"
#include "fuzz/Check.h"
#include "fuzz/Input.h"

using namespace applist;
using applist::fuzz::Check;
using applist::fuzz::Input;
using applist::fuzz::kFaultIsPlanted;
using ctl::RemoteBus;
using std::string;

namespace {

constexpr char kLetters[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ_";
constexpr char kDigits[] = "0123456789";
constexpr std::size_t kLongestBusName = 255;

// Neither a shell's nor sd-bus's idea of an address is asked: this is the grammar of D-Bus.
std::optional<string> Unescaped(const string& value) {
    static const string plain = string(kLetters) + kDigits + "-/.\\*";
    string bytes;
    for (std::size_t at = 0; at < value.size(); ++at) {
        if (plain.find(value[at]) != string::npos) {
            bytes += value[at];
            continue;
        }
        const string hex = value.substr(at + 1, 2);
        if (value[at] != '%' || hex.size() != 2) return std::nullopt;
        if (hex.find_first_not_of("0123456789abcdefABCDEF") != string::npos) return std::nullopt;
        bytes += static_cast<char>(std::stoi(hex, nullptr, 16));
        at += 2;
    }
    return bytes;
}

std::optional<std::map<string, string>> ValuesOf(const string& address, const string& transport) {
    if (address.compare(0, transport.size() + 1, transport + ":") != 0) return std::nullopt;
    std::map<string, string> values;
    Input input(std::string_view(address).substr(transport.size() + 1));
    while (!input.IsEmpty()) {
        Input pair(input.Part(','));
        const string key(pair.Part('='));
        const std::optional<string> value = Unescaped(string(pair.Rest()));
        if (!value || !values.emplace(key, *value).second) return std::nullopt;
    }
    return values;
}

// Planted: a comma at the end of a value stays as it is.
string Spoilt(string address, const string& value) {
    const std::size_t at = address.find("%2c,");
    const bool isAtEnd = !value.empty() && value.back() == ',';
    if (kFaultIsPlanted && isAtEnd && at != string::npos) address.replace(at, 3, ",");
    return address;
}

void CheckHost(const string& host, RemoteBus bus) {
    const string address = ctl::BusOf(host, bus, std::chrono::seconds(1)).address;
    const auto values = ValuesOf(Spoilt(address, host), "unixexec");
    std::map<string, string> expected = {{"path", "ssh"},
                                         {"argv1", "-xT"},
                                         {"argv2", "--"},
                                         {"argv3", host},
                                         {"argv4", "systemd-stdio-bridge"}};
    if (bus == RemoteBus::Session) expected["argv5"] = "--user";
    Check(values == expected, "ssh gets the host, and nothing else from it");
    Check(Unescaped(BusAddressValue(host)) == host,
          "a value in an address says what it stands for");
}

// sd-bus takes C strings.
void CheckName(const string& name) {
    const string busName = endpoint_names::BusNameOf(name);
    const string path = endpoint_names::PathOf(name);
    const bool isWord = !name.empty() && name.find_first_of(kDigits) != 0 &&
                        name.find_first_not_of(string(kLetters) + kDigits) == string::npos;
    const bool isValid = sd_bus_service_name_is_valid(busName.c_str()) > 0 &&
                         sd_bus_object_path_is_valid(path.c_str()) > 0;
    Check(isValid == (isWord && busName.size() <= kLongestBusName), "an endpoint's name is a word");
}

const char* const kVariables[] = {"DBUS_STARTER_ADDRESS", "DBUS_STARTER_BUS_TYPE",
                                  "DBUS_SESSION_BUS_ADDRESS", "DBUS_SYSTEM_BUS_ADDRESS"};

// The address that the environment names, or nothing when there is no session bus.
std::optional<string> Named(BusKind kind, std::map<string, string> variables) {
    const string starter = variables["DBUS_STARTER_ADDRESS"];
    const string type = variables["DBUS_STARTER_BUS_TYPE"];
    const string session = variables["DBUS_SESSION_BUS_ADDRESS"];
    const string system = variables["DBUS_SYSTEM_BUS_ADDRESS"];
    const bool isAutomatic = kind == BusKind::Automatic;
    if (isAutomatic && !starter.empty()) return starter;
    const bool wantsSession = kind == BusKind::Session || (isAutomatic && type != "system" &&
                                                           (type == "session" || !session.empty()));
    if (wantsSession) return session.empty() ? std::nullopt : std::make_optional(session);
    return system.empty() ? "unix:path=/run/dbus/system_bus_socket" : system;
}

void CheckSelection(BusKind kind, const std::map<string, string>& variables) {
    for (const auto& variable : variables) {
        setenv(variable.first.c_str(), variable.second.c_str(), 1);
    }
    const std::optional<string> named = Named(kind, variables);
    SelectBus(kind);
    try {
        const BusLocation location = SelectedBus();
        Check(named == location.address, "the bus is the one that the environment names");
        Check(location.description.find(location.address) != string::npos, "people are told it");
    } catch (const TransportError&) {
        Check(!named, "a bus that is named is found");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    unsetenv("XDG_RUNTIME_DIR");
    Input input(data, size);
    const unsigned kind = input.Byte();
    CheckName(input.CString());
    CheckHost(string(input.Part()), kind % 2 == 0 ? RemoteBus::System : RemoteBus::Session);
    std::map<string, string> variables;
    for (const char* name : kVariables) variables[name] = input.CString();
    const BusKind kinds[] = {BusKind::Automatic, BusKind::Session, BusKind::System};
    CheckSelection(kinds[kind % std::size(kinds)], variables);
    return 0;
}
