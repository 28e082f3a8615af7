// SPDX-License-Identifier: MIT

#include "sim/SimBus.h"

#include <algorithm>
#include <cstdio>

#include "bus/BusNames.h"

namespace sim {

using applist::bus_names::kDriver;

namespace {

constexpr char kSquatter[] = ":0.1";

// As if a bus library told itself something: a bus calls that invalid, whoever it is for.
bool ClaimsToBeLocal(const WireMessage& message) {
    return message.path == "/org/freedesktop/DBus/Local" ||
           message.interface == "org.freedesktop.DBus.Local";
}

}  // namespace

// ---- Connections --------------------------------------------------------------------------------

bool SimBus::Accept(const std::shared_ptr<Stream>& stream) {
    if (!m_isUp) return false;
    auto connection = std::make_shared<Connection>();
    connection->id = stream->Id();
    connection->stream = stream;
    m_connections[stream->Id()] = std::move(connection);
    if (m_world.Strikes(m_world.m_faults.silentAccept, "silent bus")) {
        stream->BeSilentUntil(m_world.Now() + kSecond * (1 + m_world.m_random.Below(60)));
    }
    return true;
}

void SimBus::Arrived(const std::shared_ptr<Stream>& stream) {
    const auto found = m_connections.find(stream->Id());
    const Client client = found == m_connections.end() ? nullptr : found->second;
    bool isEnd = false;
    for (Chunk chunk; stream->TakeArrived(chunk);) {
        if (client == nullptr) continue;
        isEnd = isEnd || chunk.isEnd;
        client->in += chunk.bytes;
        client->fds.Append(std::move(chunk.fds));
    }
    if (client == nullptr) return;
    if (!Authenticate(*client) || !TakeMessages(client) || isEnd) Drop(client);
}

bool SimBus::Authenticate(Connection& connection) {
    while (!connection.isAuthenticated) {
        const std::size_t end = connection.in.find("\r\n");
        if (end == std::string::npos) return true;
        const std::string line = connection.in.substr(0, end);
        connection.in.erase(0, end + 2);
        const std::string answer = AnswerTo(connection, line);
        if (!answer.empty()) {
            connection.stream->SendToClient(answer, {});
        } else if (!connection.isAuthenticated) {
            return false;
        }
    }
    return true;
}

std::string SimBus::Id() const {
    char id[33];
    std::snprintf(id, sizeof(id), "%032x", m_starts);
    return id;
}

// Empty for nothing: at the end of the handshake, and to a line that it does not know.
std::string SimBus::AnswerTo(Connection& connection, const std::string& line) const {
    if (line.find("AUTH EXTERNAL") <= 1) return "DATA\r\n";  // the first line begins with a NUL
    if (line.compare(0, 4, "DATA") == 0) return "OK " + Id() + "\r\n";
    if (line == "NEGOTIATE_UNIX_FD") {
        return m_kind.passesFds ? "AGREE_UNIX_FD\r\n" : "ERROR not here\r\n";
    }
    connection.isAuthenticated = line == "BEGIN";
    return std::string();
}

bool SimBus::TakeMessages(const Client& client) {
    while (client->isAuthenticated && m_connections.count(client->id) != 0) {
        const std::size_t size = SizeOfFirst(client->in);
        if (size == 0) return true;
        if (!TakeMessage(client, size)) return false;
    }
    return true;
}

bool SimBus::TakeMessage(const Client& client, std::size_t size) {
    WireMessage message;
    const bool isGood = Parse(client->in, size, message);
    client->in.erase(0, size);
    if (!isGood || client->fds.Count() < message.fdCount) {
        m_world.Log("bus: %s sends nonsense", client->name.c_str());
        return false;
    }
    message.fds = client->fds.TakeFirst(message.fdCount);
    Route(client, message);
    return true;
}

void SimBus::Drop(const Client& client) {
    if (m_connections.erase(client->id) == 0) return;
    m_world.Log("bus: drops stream %d %s", client->id, client->name.c_str());
    client->fds.Clear();
    if (client->stream != nullptr) client->stream->CloseByBus();
    if (client->name.empty()) return;
    if (m_kind.endsNamesFirst) {
        EndNames(*client);
        EndDebts(*client);
    } else {
        EndDebts(*client);
        EndNames(*client);
    }
}

void SimBus::EndNames(const Connection& leaver) {
    std::vector<std::string> owned;
    for (const auto& [name, owner] : m_owners) {
        if (owner == leaver.name) owned.push_back(name);
    }
    for (const std::string& name : owned) SetOwner(name, std::string());
    Signal("NameOwnerChanged", {leaver.name, leaver.name, std::string()}, nullptr);
}

// Those who wait for a reply of somebody who leaves are told; nobody owes the leaver anything more.
void SimBus::EndDebts(const Connection& leaver) {
    for (const auto& [callerName, serial] : leaver.owes) {
        const Client caller = Find(callerName);
        if (caller == nullptr) continue;
        WireMessage call;
        call.serial = serial;
        ReplyError(*caller, call, "org.freedesktop.DBus.Error.NoReply", "the recipient left");
    }
    for (const auto& [id, client] : m_connections) {
        auto& owes = client->owes;
        for (auto debt = owes.begin(); debt != owes.end();) {
            debt = debt->first == leaver.name ? owes.erase(debt) : std::next(debt);
        }
    }
}

void SimBus::Stop() {
    m_isUp = false;
    m_names = 0;
    ++m_starts;
    for (const auto& [id, client] : m_connections) {
        if (client->stream != nullptr) client->stream->CloseByBus();
    }
    m_connections.clear();
    m_owners.clear();
}

void SimBus::Disconnect(const Process* process) {
    const std::map<int, Client> all = m_connections;
    for (const auto& [id, client] : all) {
        if (client->stream != nullptr && client->stream->Owner() == process) Drop(client);
    }
}

void SimBus::StallUntil(const Process* process, Usec time) {
    for (const auto& [id, client] : m_connections) {
        if (client->stream != nullptr && client->stream->Owner() == process) {
            client->stream->StallUntil(time);
        }
    }
}

// ---- What others do on it -----------------------------------------------------------------------

void SimBus::Squat(const std::string& name) {
    if (OwnerOf(name).empty()) SetOwner(name, kSquatter);
}

void SimBus::EndSquatting(const std::string& name) {
    if (OwnerOf(name) == kSquatter) SetOwner(name, std::string());
}

std::string SimBus::LetIn() {
    auto stranger = std::make_shared<Connection>();
    stranger->name = ":1." + std::to_string(++m_names);
    stranger->id = --m_strangers;
    m_connections[stranger->id] = stranger;
    return stranger->name;
}

void SimBus::ShowOut(const std::string& name) {
    const Client stranger = Find(name);
    if (stranger != nullptr) Drop(stranger);
}

bool SimBus::IsStranger(const std::string& name) const {
    const Client client = Find(name);
    return client != nullptr && client->stream == nullptr;
}

void SimBus::SendAs(const std::string& sender, WireMessage message) {
    const Client stranger = Find(sender);
    if (stranger == nullptr) return;  // shown out in the middle of what they do
    message.serial = ++m_serial;
    message.fdCount = static_cast<std::uint32_t>(message.fds.Count());
    Route(stranger, message);
}

// ---- What can be asked --------------------------------------------------------------------------

std::string SimBus::OwnerOf(const std::string& name) const {
    if (!name.empty() && name[0] == ':') return name;
    const auto found = m_owners.find(name);
    return found == m_owners.end() ? std::string() : found->second;
}

SimBus::Client SimBus::Find(const std::string& name) const {
    const std::string unique = OwnerOf(name);
    if (unique.empty()) return nullptr;
    for (const auto& [id, client] : m_connections) {
        if (client->name == unique) return client;
    }
    return nullptr;
}

std::vector<std::string> SimBus::Clients() const {
    std::vector<std::string> names;
    for (const auto& [id, client] : m_connections) {
        if (!client->name.empty()) names.push_back(client->name);
    }
    return names;
}

std::size_t SimBus::ConnectionsOfProcesses() const {
    return static_cast<std::size_t>(
        std::count_if(m_connections.begin(), m_connections.end(),
                      [](const auto& each) { return each.second->stream != nullptr; }));
}

// ---- Routing ------------------------------------------------------------------------------------

void SimBus::Route(const Client& from, WireMessage& message) {
    message.sender = from->name;  // whatever the sender says
    ++m_messages;
    m_world.Log("bus: %s -> %s type %u %s%s #%u", from->name.c_str(), message.destination.c_str(),
                static_cast<unsigned>(message.type), message.member.c_str(), message.error.c_str(),
                message.serial);
    if (from->name.empty() && message.member != "Hello") return Drop(from);
    if (ClaimsToBeLocal(message)) return Drop(from);
    if (message.destination == kDriver) return Drive(from, message);
    if (message.destination.empty()) {
        ++m_broadcasts;
        return Broadcast(message, true);
    }
    const Client to = Find(message.destination);
    switch (message.type) {
        case MessageType::Call: return RouteCall(from, to, message);
        case MessageType::Return:
        case MessageType::Error: return RouteReply(from, to, message);
        case MessageType::Signal:
            if (to != nullptr) Send(*to, message);
    }
}

void SimBus::RouteCall(const Client& from, const Client& to, WireMessage& call) {
    if (to == nullptr) {
        return ReplyError(*from, call, "org.freedesktop.DBus.Error.ServiceUnknown",
                          "nobody owns " + call.destination);
    }
    if (m_refusesCalls) {
        m_world.Fault("refused call");
        return ReplyError(*from, call, "org.freedesktop.DBus.Error.AccessDenied", "not you");
    }
    if (!call.fds.Empty() && !m_kind.passesFds) {
        return ReplyError(*from, call, "org.freedesktop.DBus.Error.NotSupported",
                          "no descriptors here");
    }
    if (call.WantsReply()) to->owes.insert({from->name, call.serial});
    m_onCall(call, to->stream);
    Send(*to, call);
}

// One that nobody has asked for goes nowhere.
void SimBus::RouteReply(const Client& from, const Client& to, WireMessage& reply) {
    if (to == nullptr || from->owes.erase({to->name, reply.replySerial}) == 0) return;
    m_onReply(reply, from->stream);
    if (m_world.Strikes(m_world.m_faults.loseReply, "lost reply")) return;
    Send(*to, reply);
}

void SimBus::Broadcast(WireMessage& message, bool mayBeLost) {
    const std::map<int, Client> all = m_connections;  // some may be dropped on the way
    for (const auto& [id, to] : all) {
        if (to->stream == nullptr || !IsWanted(*to, message)) continue;
        if (!mayBeLost || !m_world.Strikes(m_world.m_faults.loseSignal, "lost signal")) {
            Send(*to, message);
        } else if (m_kind.dropsSlowReaders) {
            m_world.Fault("dropped reader");
            Drop(to);
        }
    }
}

bool SimBus::IsWanted(const Connection& by, const WireMessage& message) const {
    return std::any_of(by.matches.begin(), by.matches.end(), [&](const MatchRule& rule) {
        return rule.Matches(message, [this](const std::string& name) { return OwnerOf(name); });
    });
}

// Where it reads nothing, a bus sees that a client has gone when it has something to send to it.
void SimBus::DropSoon(int id) {
    m_world.At(m_world.Now(), [this, id] {
        const auto found = m_connections.find(id);
        if (found != m_connections.end()) Drop(Client(found->second));
    });
}

void SimBus::Send(Connection& to, WireMessage& message) {
    if (to.stream == nullptr) return;
    if (!to.stream->IsOpenHere()) return DropSoon(to.id);
    FdList fds;
    fds.AddCopiesOf(message.fds);
    to.stream->SendToClient(Serialized(message), std::move(fds));
}

}  // namespace sim
