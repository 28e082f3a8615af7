// SPDX-License-Identifier: MIT

#include "torture/Attacker.h"

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace {

const char kService[] = "org.tessel.Local.Applist";
const char kPath[] = "/org/tessel/Local/Applist";
const char kInterface[] = "org.tessel.Local1";
const char kDriver[] = "org.freedesktop.DBus";

constexpr std::uint64_t kPatience = 5'000'000;  // microseconds, for an answer
constexpr int kMostTries = 10'000;

void Check(int result, const char* what) {
    if (result < 0) throw std::runtime_error(std::string(what) + ": " + std::strerror(-result));
}

std::string NumberInBytes(std::int32_t number) {
    std::string bytes(sizeof(number), '\0');
    std::memcpy(&bytes[0], &number, sizeof(number));
    return bytes;
}

}  // namespace

Attacker::Attacker(const std::string& address, std::mt19937& random) : m_random(random) {
    sd_bus* made = nullptr;
    Check(sd_bus_new(&made), "sd_bus_new");
    m_bus.reset(made);
    Check(sd_bus_set_address(made, address.c_str()), "sd_bus_set_address");
    Check(sd_bus_set_bus_client(made, 1), "sd_bus_set_bus_client");
    Check(sd_bus_set_method_call_timeout(made, kPatience), "sd_bus_set_method_call_timeout");
    Check(sd_bus_start(made), "sd_bus_start");
    const char* name = nullptr;
    Check(sd_bus_get_unique_name(made, &name), "sd_bus_get_unique_name");
}

// Not "remove all", which would leave nothing to do for the others.
std::string Attacker::AnyRequest() {
    const std::string id = "attack" + std::to_string(UpTo(20));
    switch (UpTo(9)) {
        case 0: return std::string(UpTo(40), static_cast<char>(UpTo(255)));
        case 1: return "Attack\t" + id + "\n" + NumberInBytes(2005);
        case 2:
        case 3: return "Attack\t" + id + "\n" + NumberInBytes(2007);
        case 4: return "no item at all" + NumberInBytes(2004);
        case 5: return "\t" + id + "\n" + NumberInBytes(2000);
        case 6: return NumberInBytes(static_cast<std::int32_t>(UpTo(100'000)));
        case 7: return NumberInBytes(2001);
        default: return NumberInBytes(2002);
    }
}

void Attacker::Send(sd_bus_message* message) {
    sd_bus_send(m_bus.get(), message, nullptr);  // refused by a full queue or a dead bus: as well
    sd_bus_message_unref(message);
}

void Attacker::Flood(std::size_t calls) {
    static const char* const kMembers[] = {"Message", "Message", "Message",
                                           "Notify",  "Connect", "Nonsense"};
    for (std::size_t count = 0; count < calls; ++count) Call(kMembers[UpTo(5)], AnyRequest());
    AwaitTheLast();
}

// Calls of one sender are executed in order. One that finds no room is refused at once.
void Attacker::AwaitTheLast() {
    int result = -EBUSY;
    for (int tries = 0; result < 0 && tries < kMostTries; ++tries) {
        sd_bus_message* call = nullptr;
        Check(sd_bus_message_new_method_call(m_bus.get(), &call, kService, kPath, kInterface,
                                             "Message"),
              "Message");
        const std::string request = NumberInBytes(2001);
        sd_bus_message_append_array(call, 'y', request.data(), request.size());
        result = sd_bus_call(m_bus.get(), call, kPatience, nullptr, nullptr);
        sd_bus_message_unref(call);
    }
    Check(result, "the end of a flood");
}

void Attacker::AskInVain(std::size_t calls) {
    for (std::size_t count = 0; count < calls; ++count) Call("Message", NumberInBytes(2002));
}

void Attacker::Call(const char* member, const std::string& request) {
    sd_bus_message* call = nullptr;
    Check(sd_bus_message_new_method_call(m_bus.get(), &call, kService, kPath, kInterface, member),
          member);
    sd_bus_message_append_array(call, 'y', request.data(), request.size());
    Send(call);
}

std::vector<std::string> Attacker::Connections() const {
    char** names = nullptr;
    std::vector<std::string> found;
    if (sd_bus_list_names(m_bus.get(), &names, nullptr) < 0) return found;
    for (char** name = names; name != nullptr && *name != nullptr; ++name) {
        if (**name == ':') found.emplace_back(*name);
        free(*name);
    }
    free(names);
    return found;
}

void Attacker::ForgeTo(const char* destination) {
    const char* mine = nullptr;
    sd_bus_get_unique_name(m_bus.get(), &mine);
    sd_bus_message* signal = nullptr;
    Check(sd_bus_message_new_signal(m_bus.get(), &signal, "/org/freedesktop/DBus", kDriver,
                                    "NameOwnerChanged"),
          "a signal");
    sd_bus_message_append(signal, "sss", kService, "", UpTo(1) == 0 ? "" : mine);
    sd_bus_message_set_destination(signal, destination);
    if (UpTo(1) == 0) sd_bus_message_set_sender(signal, kDriver);
    Send(signal);
    Check(sd_bus_message_new_signal(m_bus.get(), &signal, kPath, kInterface, "Notification"),
          "a signal");
    const std::string body = NumberInBytes(static_cast<std::int32_t>(1 + UpTo(4)));
    sd_bus_message_append_array(signal, 'y', body.data(), body.size());
    sd_bus_message_set_destination(signal, destination);
    Send(signal);
}

void Attacker::ForgeSignals() {
    ForgeTo(nullptr);
    for (const std::string& name : Connections()) ForgeTo(name.c_str());
    sd_bus_flush(m_bus.get());
}
