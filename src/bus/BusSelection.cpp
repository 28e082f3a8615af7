// SPDX-License-Identifier: MIT

#include "bus/BusSelection.h"

#include <sys/stat.h>

#include <cstdlib>
#include <cstring>
#include <string_view>

#include "bus/TransportError.h"
#include "common/Joined.h"

namespace applist {

namespace {

struct Choice {
    BusKind kind = BusKind::Automatic;
    std::string address;                  // not empty: this one, whatever `kind` says
    std::optional<BusLocation> location;  // set: this one, whatever the others say
    std::chrono::microseconds timeout = transport_limits::kStartTimeout;
};

Choice& TheChoice() {
    static Choice choice;
    return choice;
}

const char kNoSession[] =
    "no session bus: DBUS_SESSION_BUS_ADDRESS is not set and XDG_RUNTIME_DIR has no bus";
const char kWithoutSession[] = "start the program with dbus-run-session, or choose another bus";

// A variable that is set but empty says nothing, as everywhere in D-Bus.
std::string Environment(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? std::string() : std::string(value);
}

// The address of the session bus; empty when there is none.
std::string SessionAddress() {
    const std::string address = Environment("DBUS_SESSION_BUS_ADDRESS");
    if (!address.empty()) return address;
    const std::string folder = Environment("XDG_RUNTIME_DIR");
    if (folder.empty()) return std::string();
    // The folder is there for every login, the bus in it only when the system starts one: without
    // this look, Automatic would never try the system bus there.
    struct stat status;
    const std::string path = Joined({folder, "/bus"});
    if (stat(path.c_str(), &status) != 0 || !S_ISSOCK(status.st_mode)) return std::string();
    return Joined({"unix:path=", BusAddressValue(path)});
}

// `what` ends before the address.
BusLocation Location(std::string_view what, const std::string& address) {
    return {Joined({what, address}), address};
}

BusLocation Session() {
    const std::string address = SessionAddress();
    if (address.empty()) throw TransportError(Joined({kNoSession, "; ", kWithoutSession}));
    return Location("the session bus at ", address);
}

BusLocation System() {
    std::string address = Environment("DBUS_SYSTEM_BUS_ADDRESS");
    if (address.empty()) address = "unix:path=/run/dbus/system_bus_socket";
    return Location("the system bus at ", address);
}

// What the starter says comes first: a service that the system bus has activated must answer there,
// even when a session bus happens to be in its environment.
BusLocation Automatic() {
    const std::string starter = Environment("DBUS_STARTER_ADDRESS");
    if (!starter.empty()) return Location("the bus that started this program at ", starter);
    const std::string type = Environment("DBUS_STARTER_BUS_TYPE");
    if (type == "system") return System();
    if (type == "session" || !SessionAddress().empty()) return Session();
    BusLocation system = System();
    // Who expected a session bus is not helped by what there is to say about this one.
    system.advice = Joined({"there is ", kNoSession, "; ", kWithoutSession});
    return system;
}

BusLocation Chosen(const Choice& choice) {
    if (!choice.address.empty()) return Location("the bus at ", choice.address);
    switch (choice.kind) {
        case BusKind::Session: return Session();
        case BusKind::System: return System();
        case BusKind::Automatic: break;
    }
    return Automatic();
}

}  // namespace

void SelectBus(BusKind kind) {
    TheChoice().kind = kind;
    TheChoice().address.clear();
    TheChoice().location.reset();
}

void SelectBusAddress(const std::string& address) {
    SelectBus(BusKind::Automatic);
    TheChoice().address = address;
}

void SelectBus(const BusLocation& location) {
    TheChoice().location = location;
}

std::string BusAddressValue(const std::string& bytes) {
    static const char kPlain[] =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_/.\\*";
    static const char kHex[] = "0123456789abcdef";
    std::string value;
    for (const char character : bytes) {
        // strchr finds the NUL that ends kPlain, too.
        if (character != '\0' && std::strchr(kPlain, character) != nullptr) {
            value += character;
            continue;
        }
        const auto byte = static_cast<unsigned char>(character);
        value += {'%', kHex[byte >> 4], kHex[byte & 0xF]};
    }
    return value;
}

void SetBusTimeout(std::chrono::microseconds timeout) {
    TheChoice().timeout = timeout;
}

BusLocation SelectedBus() {
    if (TheChoice().location) return *TheChoice().location;
    BusLocation location = Chosen(TheChoice());
    location.timeout = TheChoice().timeout;
    return location;
}

}  // namespace applist
