// SPDX-License-Identifier: MIT

#include "support/Forger.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "support/TestLoop.h"

namespace {

const char kDriver[] = "org.freedesktop.DBus";
const char kDriverPath[] = "/org/freedesktop/DBus";

void Check(int result, const char* what) {
    if (result < 0) throw std::runtime_error(std::string("forging ") + what);
}

// Somebody who listens to everything, and writes down what comes of one member, by its sender.
class Bystander {
public:
    Bystander(const std::string& address, const std::string& member)
        : m_client(address), m_member(member) {
        Check(sd_bus_add_filter(m_client.Bus(), nullptr, OnMessage, this), "a filter");
        Check(sd_bus_add_match(m_client.Bus(), nullptr, "type='signal'", OnNothing, nullptr),
              "a match");
    }

    const std::string& Name() const { return m_client.Name(); }

    std::vector<std::string> m_senders;

private:
    static int OnNothing(sd_bus_message*, void*, sd_bus_error*) { return 0; }
    static int OnMessage(sd_bus_message* message, void* userdata, sd_bus_error*) {
        Bystander& self = *static_cast<Bystander*>(userdata);
        const char* const sender = sd_bus_message_get_sender(message);
        if (sender != nullptr &&
            sd_bus_message_is_signal(message, nullptr, self.m_member.c_str()) > 0) {
            self.m_senders.push_back(sender);
        }
        return 0;
    }

    BusClient m_client;
    const std::string m_member;
};

}  // namespace

Forger::Forger(const std::string& address) : m_address(address), m_client(address) {
    Check(sd_bus_add_filter(m_client.Bus(), nullptr, OnCall, this), "a filter");
}

void Forger::Send(const Signal& signal, const std::string& victim,
                  const std::vector<std::string>& senders) {
    Bystander bystander(m_address, signal.member);
    std::vector<std::string> from = senders;
    from.emplace_back();
    for (const std::string& sender : from) {
        for (const std::string& to : {victim, bystander.Name(), std::string()}) {
            SendOne(signal, to, sender);
        }
    }
    AwaitReadBy(bystander.Name());
    AwaitReadBy(victim);
    if (!m_client.IsOnBus()) return;  // the bus throws out who sends such a thing
    // To the bystander alone and to everyone, and never from anybody but us.
    const std::vector<std::string> expected(2 * from.size(), Name());
    std::vector<std::string> heard;
    for (const std::string& sender : bystander.m_senders) {
        if (sender != kDriver) heard.push_back(sender);
    }
    EXPECT_EQ(expected, heard) << "the bus has not carried it";
}

// The bus fills in the sender, whatever is there.
void Forger::SendOne(const Signal& signal, const std::string& destination,
                     const std::string& sender) {
    if (!m_client.IsOnBus()) return;
    sd_bus_message* made = nullptr;
    Check(sd_bus_message_new_signal(m_client.Bus(), &made, signal.path.c_str(),
                                    signal.interface.c_str(), signal.member.c_str()),
          "a signal");
    int result = signal.append(made);
    if (result >= 0 && !sender.empty()) result = sd_bus_message_set_sender(made, sender.c_str());
    if (result >= 0 && !destination.empty()) {
        result = sd_bus_message_set_destination(made, destination.c_str());
    }
    if (result >= 0) result = sd_bus_send(m_client.Bus(), made, nullptr);
    sd_bus_message_unref(made);
    if (m_client.IsOnBus()) Check(result, "a signal's parts");
}

void Forger::Reply(const std::string& victim, std::uint64_t firstCookie, std::uint64_t lastCookie,
                   const Appender& append) {
    StartReplying(victim, firstCookie, lastCookie, append);
    AwaitReadBy(victim);
}

void Forger::StartReplying(const std::string& victim, std::uint64_t firstCookie,
                           std::uint64_t lastCookie, const Appender& append) {
    for (std::uint64_t cookie = firstCookie; cookie <= lastCookie; ++cookie) {
        ReplyOne(victim, cookie, append);
    }
}

// sd-bus makes replies only to calls, so it is given a call that seems to have come from `victim`.
void Forger::ReplyOne(const std::string& victim, std::uint64_t cookie, const Appender& append) {
    if (!m_client.IsOnBus()) return;
    sd_bus_message* call = nullptr;
    sd_bus_message* reply = nullptr;
    int result = sd_bus_message_new_method_call(m_client.Bus(), &call, Name().c_str(), "/",
                                                "org.example.Forged", "Call");
    if (result >= 0) result = sd_bus_message_set_sender(call, victim.c_str());
    if (result >= 0) result = sd_bus_message_seal(call, cookie, 0);
    if (result >= 0) result = sd_bus_message_new_method_return(call, &reply);
    if (result >= 0) result = append(reply);
    if (result >= 0) result = sd_bus_send(m_client.Bus(), reply, nullptr);
    sd_bus_message_unref(reply);
    sd_bus_message_unref(call);
    Check(result, "a reply");
}

// A bus keeps the order between two connections, so who answers a call has read what came before.
void Forger::AwaitReadBy(const std::string& victim) {
    const auto nothing = [](sd_bus_message*) { return 0; };
    if (m_client.IsOnBus()) {
        try {
            const Answer answer = m_client.Wait(m_client.StartAny(
                victim.c_str(), "/", "org.freedesktop.DBus.Peer", "Ping", nothing));
            EXPECT_EQ(m_client.IsOnBus(), answer.error.empty()) << answer.text;
        } catch (const std::runtime_error& thrownOut) {
            EXPECT_FALSE(m_client.IsOnBus()) << thrownOut.what();
        }
    }
    // What was sent before it was thrown out has arrived by the time that this is answered.
    BusClient another(m_address);
    const Answer answer = another.Wait(
        another.StartAny(victim.c_str(), "/", "org.freedesktop.DBus.Peer", "Ping", nothing));
    EXPECT_EQ("", answer.error) << answer.text;
    RunWhatIsReady();
}

int Forger::OnCall(sd_bus_message* message, void* userdata, sd_bus_error*) {
    if (sd_bus_message_is_method_call(message, nullptr, nullptr) > 0) {
        static_cast<Forger*>(userdata)->m_calls.push_back(sd_bus_message_get_member(message));
    }
    return 0;
}

Forger::Signal NameOwnerChanged(const std::string& name, const std::string& before,
                                const std::string& now) {
    return {kDriverPath, kDriver, "NameOwnerChanged", [=](sd_bus_message* signal) {
                return sd_bus_message_append(signal, "sss", name.c_str(), before.c_str(),
                                             now.c_str());
            }};
}

Forger::Signal NameLost(const std::string& name) {
    return {kDriverPath, kDriver, "NameLost", [name](sd_bus_message* signal) {
                return sd_bus_message_append(signal, "s", name.c_str());
            }};
}

Forger::Signal NameAcquired(const std::string& name) {
    return {kDriverPath, kDriver, "NameAcquired", [name](sd_bus_message* signal) {
                return sd_bus_message_append(signal, "s", name.c_str());
            }};
}

Forger::Signal Disconnected() {
    return {"/org/freedesktop/DBus/Local", "org.freedesktop.DBus.Local", "Disconnected",
            [](sd_bus_message*) { return 0; }};
}

Forger::Signal ListChanged() {
    return {
        "/org/tessel/Local/Applist", "org.tessel.Local1", "Notification",
        [](sd_bus_message* signal) { return sd_bus_message_append(signal, "ay", 4, 1, 0, 0, 0); }};
}
