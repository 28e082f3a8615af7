// SPDX-License-Identifier: MIT

// A message bus in memory: authentication, names, matches, routing with descriptors, and the errors
// of a real one. It is what the other end of every connection in the world talks to.
//
// Lifetime: goes before its world.

#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "sim/MatchRule.h"
#include "sim/Wire.h"
#include "sim/World.h"

namespace sim {

// In what buses differ, as far as a client can tell.
struct BusKind {
    bool dropsSlowReaders = false;  // dbus-broker: disconnected, where dbus-daemon loses a signal
    bool passesFds = true;
    // When a client leaves: dbus-daemon says first that its names are free, and dbus-broker that it
    // will not answer.
    bool endsNamesFirst = false;
};

class SimBus : public BusSide {
public:
    explicit SimBus(World& world) : m_world(world) { world.m_bus = this; }
    SimBus(const SimBus&) = delete;
    SimBus& operator=(const SimBus&) = delete;

    bool Accept(const std::shared_ptr<Stream>& stream) override;
    void Arrived(const std::shared_ptr<Stream>& stream) override;

    // ---- What befalls it

    // Every connection ends, and nobody gets in. The next one gives out the same unique names
    // again.
    void Stop();
    void Start() { m_isUp = true; }
    void Disconnect(const Process* process);
    void StallUntil(const Process* process, Usec time);

    // ---- What others do on it

    // Takes `name`, if it is free, for a process that is not simulated; gives it back.
    void Squat(const std::string& name);
    void EndSquatting(const std::string& name);
    // Lets somebody in who is not simulated, and returns their unique name.
    std::string LetIn();
    void ShowOut(const std::string& name);
    // Whether `name` is theirs still: after a restart it may be a process's.
    bool IsStranger(const std::string& name) const;
    // Routes `message` as sent by `sender`, a stranger. Nothing happens when they have been shown
    // out.
    void SendAs(const std::string& sender, WireMessage message);

    // ---- What can be asked

    std::string OwnerOf(const std::string& name) const;
    // The unique names of all clients.
    std::vector<std::string> Clients() const;
    std::size_t ConnectionsOfProcesses() const;
    std::uint64_t Messages() const { return m_messages; }
    // Those of clients to everyone: events of the list.
    std::uint64_t Broadcasts() const { return m_broadcasts; }

    // Hears every call that it passes on to a client, and over which connection.
    std::function<void(const WireMessage& call, const std::shared_ptr<Stream>& to)> m_onCall =
        [](const WireMessage&, const std::shared_ptr<Stream>&) {};
    // And every reply that a client sends to another, and over which connection.
    std::function<void(const WireMessage& reply, const std::shared_ptr<Stream>& from)> m_onReply =
        [](const WireMessage&, const std::shared_ptr<Stream>&) {};

    BusKind m_kind;
    // The policy, which an administrator may change at any time.
    bool m_refusesCalls = false;  // between clients
    bool m_refusesNames = false;

private:
    struct Connection {
        int id = 0;
        std::shared_ptr<Stream> stream;  // null for somebody who is not simulated
        std::string name;                // unique; empty before Hello
        bool isAuthenticated = false;
        std::string in;
        FdList fds;
        std::vector<MatchRule> matches;
        std::set<std::pair<std::string, std::uint32_t>> owes;  // replies: to whom, to which serial
    };
    using Client = std::shared_ptr<Connection>;
    using Method = void (SimBus::*)(const Client& from, const WireMessage& call,
                                    const std::string& argument);

    // ---- Connections
    bool Authenticate(Connection& connection);
    std::string Id() const;
    std::string AnswerTo(Connection& connection, const std::string& line) const;
    bool TakeMessages(const Client& client);
    bool TakeMessage(const Client& client, std::size_t size);
    void Drop(const Client& client);
    void DropSoon(int id);
    void EndDebts(const Connection& leaver);
    void EndNames(const Connection& leaver);
    Client Find(const std::string& name) const;

    // ---- Routing
    void Route(const Client& from, WireMessage& message);
    void RouteCall(const Client& from, const Client& to, WireMessage& call);
    void RouteReply(const Client& from, const Client& to, WireMessage& reply);
    void Broadcast(WireMessage& message, bool mayBeLost);
    bool IsWanted(const Connection& by, const WireMessage& message) const;
    void Send(Connection& to, WireMessage& message);

    // ---- The bus's own object
    static Method MethodOf(const std::string& member);
    void Drive(const Client& from, const WireMessage& call);
    void Hello(const Client& from, const WireMessage& call, const std::string& argument);
    void AddMatch(const Client& from, const WireMessage& call, const std::string& rule);
    void RemoveMatch(const Client& from, const WireMessage& call, const std::string& rule);
    void RequestName(const Client& from, const WireMessage& call, const std::string& name);
    void ReleaseName(const Client& from, const WireMessage& call, const std::string& name);
    void GetNameOwner(const Client& from, const WireMessage& call, const std::string& name);
    void GetProcessId(const Client& from, const WireMessage& call, const std::string& name);
    void NameHasOwner(const Client& from, const WireMessage& call, const std::string& name);
    void StartService(const Client& from, const WireMessage& call, const std::string& name);
    void GetId(const Client& from, const WireMessage& call, const std::string& argument);
    void Reply(Connection& to, const WireMessage& call, const std::string& signature,
               const std::string& body);
    void ReplyError(Connection& to, const WireMessage& call, const std::string& error,
                    const std::string& text);
    void Answer(Connection& to, const WireMessage& call, WireMessage& reply);
    void Signal(const std::string& member, const std::vector<std::string>& arguments,
                Connection* to);
    void SetOwner(const std::string& name, const std::string& owner);

    World& m_world;
    bool m_isUp = true;
    int m_names = 0;
    int m_starts = 1;  // each is another bus
    int m_strangers = 0;
    std::uint32_t m_serial = 0;
    std::uint64_t m_messages = 0;
    std::uint64_t m_broadcasts = 0;
    std::map<int, Client> m_connections;          // by id: the stream's, or below zero
    std::map<std::string, std::string> m_owners;  // of well-known names
};

}  // namespace sim
