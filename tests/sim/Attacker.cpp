// SPDX-License-Identifier: MIT

#include "sim/Attacker.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <utility>

#include "bus/BusNames.h"
#include "bus/EndpointNames.h"
#include "common/AppListRemoteControl.h"

namespace sim {

using applist::bus_names::kDriver;
using applist::bus_names::kDriverPath;
using applist::endpoint_names::kInterface;
using applist::endpoint_names::kNotification;

namespace {

const char kPath[] = "/org/tessel/Local/Applist";

std::string RandomBytes(Random& random, std::size_t most) {
    std::string bytes(random.Below(most + 1), '\0');
    for (char& byte : bytes) byte = static_cast<char>(random.Next());
    return bytes;
}

std::string Request(const std::string& text, std::uint32_t id) {
    std::string request = text;
    for (unsigned shift = 0; shift < 32; shift += 8) request += static_cast<char>(id >> shift);
    return request;
}

// Items, or what might pass for some, and the number of a function, or of none.
std::string RandomRequest(Random& random) {
    static const char* const kTexts[] = {"", "Evil\ta\n", "Evil\tb\nWorse\tc\n", "Evil\t",
                                         "\\x\ty\n"};
    const std::string request =
        random.Permille(500) ? std::string(kTexts[random.Below(5)]) : RandomBytes(random, 40);
    const auto id = static_cast<std::uint32_t>(APPLIST_GET_SELECTION_FNC + random.Below(16) - 4);
    return Request(request, id);
}

// A request that its sender can still change while it is read.
int UnsealedRequest() {
    const int fd = memfd_create("attack", MFD_CLOEXEC | MFD_ALLOW_SEALING);
    const std::string request =
        Request(std::string(Attacker::kForbiddenName) + "\tu\n", APPLIST_ADD_ITEM_AT_END_FNC);
    if (write(fd, request.data(), request.size()) < 0) std::abort();
    return fd;
}

// Descriptors that nobody may read from: one without seals, a device, a hole.
int AnyBadFd(Random& random) {
    switch (random.Below(3)) {
        case 0: return UnsealedRequest();
        case 1: return open("/dev/zero", O_RDONLY | O_CLOEXEC);
        default: break;
    }
    const int fd = memfd_create("attack", MFD_CLOEXEC | MFD_ALLOW_SEALING);
    if (ftruncate(fd, off_t{1} << 20) == 0) {
        fcntl(fd, F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE);
    }
    return fd;
}

}  // namespace

Attacker::Attacker(World& world, SimBus& bus, std::string serviceName)
    : m_world(world), m_bus(bus), m_serviceName(std::move(serviceName)) {}

void Attacker::Attack() {
    using Way = void (Attacker::*)();
    static const Way kWays[] = {
        &Attacker::ForgeOwner,         &Attacker::ForgeLeaving,   &Attacker::ForgeNotification,
        &Attacker::ForgeDisconnection, &Attacker::ForgeReply,     &Attacker::CallWithNonsense,
        &Attacker::CallWithBadFd,      &Attacker::CallByItsRules, &Attacker::ChangeConnection};
    EnsurePresence();
    m_world.Fault("attack");
    const std::size_t count = std::size(kWays);
    const Way way = kWays[m_world.m_random.Below(count)];
    for (std::uint64_t times = 1 + m_world.m_random.Below(3); times > 0; --times) (this->*way)();
}

void Attacker::EnsurePresence() {
    if (!m_bus.IsStranger(m_name)) m_name = m_bus.LetIn();
}

std::string Attacker::AnyVictim() {
    const Strings clients = m_bus.Clients();
    return clients[m_world.m_random.Below(clients.size())];
}

WireMessage Attacker::NewSignal(const std::string& path, const std::string& interface,
                                const std::string& member) {
    WireMessage signal;
    signal.type = MessageType::Signal;
    signal.path = path;
    signal.interface = interface;
    signal.member = member;
    if (m_world.m_random.Permille(700)) signal.destination = AnyVictim();
    return signal;
}

WireMessage Attacker::NewCall(const std::string& interface, const std::string& member) {
    WireMessage call;
    call.destination = m_serviceName;
    call.path = kPath;
    call.interface = interface;
    call.member = member;
    if (m_world.m_random.Permille(300)) call.flags = WireMessage::kNoReply;
    return call;
}

void Attacker::Send(WireMessage message) {
    m_bus.SendAs(m_name, std::move(message));
}

// ---- Signals that are not theirs to send --------------------------------------------------------

// As if the service had left, or the name were the attacker's now.
void Attacker::ForgeOwner() {
    WireMessage signal = NewSignal(kDriverPath, kDriver, "NameOwnerChanged");
    const std::string now = m_world.m_random.Permille(500) ? m_name : std::string();
    signal.signature = "sss";
    signal.body = BodyOf(Strings{m_serviceName, m_bus.OwnerOf(m_serviceName), now});
    Send(std::move(signal));
}

// As if somebody had left the bus.
void Attacker::ForgeLeaving() {
    WireMessage signal = NewSignal(kDriverPath, kDriver, "NameOwnerChanged");
    const std::string who = AnyVictim();
    signal.signature = "sss";
    signal.body = BodyOf(Strings{who, who, std::string()});
    Send(std::move(signal));
}

void Attacker::ForgeNotification() {
    WireMessage signal = NewSignal(kPath, kInterface, kNotification);
    signal.signature = m_world.m_random.Permille(800) ? "ay" : "s";
    const std::string bytes = RandomRequest(m_world.m_random);
    signal.body = signal.signature == "ay" ? ByteArrayBody(bytes) : BodyOf(Strings{"Evil"});
    Send(std::move(signal));
}

// What the bus library tells itself when a connection has ended. A bus throws out who sends it; the
// next to try is somebody new.
void Attacker::ForgeDisconnection() {
    EnsurePresence();
    Send(NewSignal("/org/freedesktop/DBus/Local", "org.freedesktop.DBus.Local", "Disconnected"));
}

// Answers what nobody asked. A bus lets that through to nobody.
void Attacker::ForgeReply() {
    WireMessage reply;
    reply.type = m_world.m_random.Permille(500) ? MessageType::Return : MessageType::Error;
    reply.destination = AnyVictim();
    reply.replySerial = static_cast<std::uint32_t>(1 + m_world.m_random.Below(50));
    if (reply.type == MessageType::Error) reply.error = "org.freedesktop.DBus.Error.Failed";
    Send(std::move(reply));
}

// ---- Calls --------------------------------------------------------------------------------------

void Attacker::CallWithNonsense() {
    static const char* const kMembers[] = {"Connect", "Disconnect", "Message",    "MessageFd",
                                           "Notify",  "Get",        "Introspect", "Nothing"};
    static const char* const kInterfaces[] = {kInterface, "org.freedesktop.DBus.Properties",
                                              "org.freedesktop.DBus.Introspectable", ""};
    Random& random = m_world.m_random;
    WireMessage call = NewCall(kInterfaces[random.Below(4)], kMembers[random.Below(8)]);
    switch (random.Below(4)) {
        case 0: break;
        case 1:
            call.signature = "ay";
            call.body = ByteArrayBody(RandomBytes(random, 100));
            break;
        case 2:
            call.signature = "ss";
            call.body = BodyOf(Strings{kInterface, "Nothing"});
            break;
        default:
            call.signature = "u";
            call.body = BodyOf(static_cast<std::uint32_t>(random.Next()));
            break;
    }
    Send(std::move(call));
}

void Attacker::CallWithBadFd() {
    WireMessage call = NewCall(kInterface, "MessageFd");
    call.signature = "h";
    call.body = BodyOf(std::uint32_t{0});
    const int fd = AnyBadFd(m_world.m_random);
    if (fd >= 0) call.fds.Own(fd);
    Send(std::move(call));
}

// What a partner may do: the list is everybody's to change.
void Attacker::CallByItsRules() {
    WireMessage call = NewCall(kInterface, m_world.m_random.Permille(800) ? "Message" : "Notify");
    call.signature = "ay";
    call.body = ByteArrayBody(RandomRequest(m_world.m_random));
    Send(std::move(call));
}

void Attacker::ChangeConnection() {
    Send(NewCall(kInterface, m_world.m_random.Permille(600) ? "Connect" : "Disconnect"));
    if (m_world.m_random.Permille(300)) m_bus.ShowOut(m_name);
}

}  // namespace sim
