// SPDX-License-Identifier: MIT

// The object that a bus itself has: what a client calls to have a name, to hear signals, and to
// know who else is there.

#include <algorithm>
#include <utility>

#include "bus/BusNames.h"
#include "sim/SimBus.h"

namespace sim {

using applist::bus_names::kDriver;
using applist::bus_names::kDriverPath;

namespace {

// What RequestName answers.
constexpr std::uint32_t kPrimaryOwner = 1;
constexpr std::uint32_t kExists = 3;
constexpr std::uint32_t kAlreadyOwner = 4;

// What ReleaseName answers.
constexpr std::uint32_t kReleased = 1;
constexpr std::uint32_t kNotOwner = 3;

// Of processes that there are none of.
constexpr std::uint32_t kProcessId = 2147483646;

}  // namespace

SimBus::Method SimBus::MethodOf(const std::string& member) {
    static const std::map<std::string, Method> kMethods = {
        {"Hello", &SimBus::Hello},
        {"AddMatch", &SimBus::AddMatch},
        {"RemoveMatch", &SimBus::RemoveMatch},
        {"RequestName", &SimBus::RequestName},
        {"ReleaseName", &SimBus::ReleaseName},
        {"GetNameOwner", &SimBus::GetNameOwner},
        {"GetConnectionUnixProcessID", &SimBus::GetProcessId},
        {"NameHasOwner", &SimBus::NameHasOwner},
        {"StartServiceByName", &SimBus::StartService},
        {"GetId", &SimBus::GetId},
    };
    const auto found = kMethods.find(member);
    return found == kMethods.end() ? nullptr : found->second;
}

void SimBus::Drive(const Client& from, const WireMessage& call) {
    const Method method = MethodOf(call.member);
    if (method == nullptr) {
        return ReplyError(*from, call, "org.freedesktop.DBus.Error.UnknownMethod",
                          "there is no " + call.member);
    }
    const std::vector<std::string> arguments = StringsOf(call);
    (this->*method)(from, call, arguments.empty() ? std::string() : arguments[0]);
}

// ---- Methods ------------------------------------------------------------------------------------

void SimBus::Hello(const Client& from, const WireMessage& call, const std::string&) {
    if (!from->name.empty()) return Drop(from);
    from->name = ":1." + std::to_string(++m_names);
    m_world.Log("bus: stream %d is %s", from->stream->Id(), from->name.c_str());
    Reply(*from, call, "s", BodyOf({from->name}));
    Signal("NameOwnerChanged", {from->name, std::string(), from->name}, nullptr);
    Signal("NameAcquired", {from->name}, from.get());
}

void SimBus::AddMatch(const Client& from, const WireMessage& call, const std::string& rule) {
    from->matches.emplace_back(rule);
    Reply(*from, call, "", "");
}

void SimBus::RemoveMatch(const Client& from, const WireMessage& call, const std::string& rule) {
    auto& matches = from->matches;
    const auto found = std::find_if(matches.begin(), matches.end(),
                                    [&](const MatchRule& each) { return each.Text() == rule; });
    if (found == matches.end()) {
        return ReplyError(*from, call, "org.freedesktop.DBus.Error.MatchRuleNotFound",
                          "no such rule");
    }
    matches.erase(found);
    Reply(*from, call, "", "");
}

void SimBus::RequestName(const Client& from, const WireMessage& call, const std::string& name) {
    if (m_refusesNames) {
        m_world.Fault("refused name");
        return ReplyError(*from, call, "org.freedesktop.DBus.Error.AccessDenied", "not you");
    }
    const std::string owner = OwnerOf(name);
    if (owner.empty()) SetOwner(name, from->name);
    const std::uint32_t taken = owner == from->name ? kAlreadyOwner : kExists;
    Reply(*from, call, "u", BodyOf(owner.empty() ? kPrimaryOwner : taken));
}

void SimBus::ReleaseName(const Client& from, const WireMessage& call, const std::string& name) {
    const bool isOwner = OwnerOf(name) == from->name;
    if (isOwner) SetOwner(name, std::string());
    Reply(*from, call, "u", BodyOf(isOwner ? kReleased : kNotOwner));
}

void SimBus::GetNameOwner(const Client& from, const WireMessage& call, const std::string& name) {
    const std::string owner = name == kDriver ? name : OwnerOf(name);
    if (!owner.empty()) return Reply(*from, call, "s", BodyOf({owner}));
    ReplyError(*from, call, "org.freedesktop.DBus.Error.NameHasNoOwner", "nobody owns " + name);
}

void SimBus::GetProcessId(const Client& from, const WireMessage& call, const std::string& name) {
    if (!OwnerOf(name).empty()) return Reply(*from, call, "u", BodyOf(kProcessId));
    ReplyError(*from, call, "org.freedesktop.DBus.Error.NameHasNoOwner", "nobody owns " + name);
}

void SimBus::NameHasOwner(const Client& from, const WireMessage& call, const std::string& name) {
    const bool hasOwner = name == kDriver || Find(name) != nullptr;
    Reply(*from, call, "b", BodyOf(hasOwner ? 1u : 0u));
}

void SimBus::StartService(const Client& from, const WireMessage& call, const std::string& name) {
    ReplyError(*from, call, "org.freedesktop.DBus.Error.ServiceUnknown", "cannot start " + name);
}

void SimBus::GetId(const Client& from, const WireMessage& call, const std::string&) {
    Reply(*from, call, "s", BodyOf({"0123456789abcdef0123456789abcdef"}));
}

// ---- What it sends ------------------------------------------------------------------------------

void SimBus::Reply(Connection& to, const WireMessage& call, const std::string& signature,
                   const std::string& body) {
    WireMessage reply;
    reply.type = MessageType::Return;
    reply.signature = signature;
    reply.body = body;
    Answer(to, call, reply);
}

void SimBus::ReplyError(Connection& to, const WireMessage& call, const std::string& error,
                        const std::string& text) {
    WireMessage reply;
    reply.type = MessageType::Error;
    reply.error = error;
    reply.signature = "s";
    reply.body = BodyOf({text});
    Answer(to, call, reply);
}

void SimBus::Answer(Connection& to, const WireMessage& call, WireMessage& reply) {
    if (!call.WantsReply()) return;
    reply.flags = WireMessage::kNoReply;
    reply.serial = ++m_serial;
    reply.replySerial = call.serial;
    reply.sender = kDriver;
    reply.destination = to.name;
    Send(to, reply);
}

void SimBus::Signal(const std::string& member, const std::vector<std::string>& arguments,
                    Connection* to) {
    WireMessage signal;
    signal.type = MessageType::Signal;
    signal.flags = WireMessage::kNoReply;
    signal.serial = ++m_serial;
    signal.sender = kDriver;
    signal.path = kDriverPath;
    signal.interface = kDriver;
    signal.member = member;
    signal.signature = std::string(arguments.size(), 's');
    signal.body = BodyOf(arguments);
    // The bus's own are not lost: a reader who is too slow for them is thrown out instead.
    if (to == nullptr) return Broadcast(signal, false);
    signal.destination = to->name;
    Send(*to, signal);
}

void SimBus::SetOwner(const std::string& name, const std::string& owner) {
    const std::string before = OwnerOf(name);
    if (owner.empty()) {
        m_owners.erase(name);
    } else {
        m_owners[name] = owner;
    }
    m_world.Log("bus: %s: \"%s\" -> \"%s\"", name.c_str(), before.c_str(), owner.c_str());
    Signal("NameOwnerChanged", {name, before, owner}, nullptr);
    const Client now = Find(owner);
    if (now != nullptr) Signal("NameAcquired", {name}, now.get());
    const Client loser = Find(before);
    if (loser != nullptr) Signal("NameLost", {name}, loser.get());
}

}  // namespace sim
