// SPDX-License-Identifier: MIT

// A partner as a stranger would write it: plain sd-bus, on the thread's default loop, next to the
// endpoint under test. Every call is sent without waiting, and the loop runs until its answer is
// there, so that endpoint and client share one thread.
//
// Threads: one. Lifetime: the client leaves its bus when it is destroyed; answers outlive it.

#pragma once

#include <systemd/sd-bus.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "support/ReaderAside.h"
#include "support/TestFd.h"

struct Answer {
    bool arrived = false;
    std::string error;           // the name of a D-Bus error; empty for a reply
    std::string text;            // what goes with the error
    std::string signature;       // of a reply
    std::string body;            // a reply's bytes or string
    std::uint64_t number = 0;    // a reply's number
    std::shared_ptr<TestFd> fd;  // a reply's descriptor
};

class BusClient {
public:
    using PendingAnswer = std::shared_ptr<Answer>;
    using Appender = std::function<int(sd_bus_message*)>;

    // Connects, and waits until it is on the bus.
    explicit BusClient(const std::string& address);
    ~BusClient();
    BusClient(const BusClient&) = delete;
    BusClient& operator=(const BusClient&) = delete;

    const std::string& Name() const { return m_name; }
    sd_bus* Bus() const { return m_bus.get(); }
    bool IsOnBus() const { return sd_bus_is_open(Bus()) > 0; }

    // From now on the broadcast notifications of every endpoint arrive, and that some were lost.
    // Over a channel they do so anyway, and would come twice.
    void Subscribe();

    // Asks the endpoint for a direct channel, over which everything that is for the endpoint goes
    // from now on. Returns the answer; after an error the bus is used as before.
    Answer TakeChannel();
    sd_bus* Channel() const { return m_channel.get(); }
    // The channel, or the bus if there is none.
    sd_bus* ToEndpoint() const { return m_channel ? m_channel.get() : m_bus.get(); }
    // The channel ends, but this client stays on the bus.
    void LeaveChannel() { m_channel.reset(); }

    // From now on nothing is read: the partner hangs. And it goes on.
    void StopReading();
    void ReadAgain();

    // From now on a thread reads the channel, as a partner that is a process of its own does, and
    // closes it at its end. Then what it has read arrives here; nothing can be sent any more.
    void ReadAside();

    // Calls a method of the endpoint "Applist", and runs the loop until the answer is there.
    Answer Connect() { return Wait(Start("Connect")); }
    Answer Disconnect() { return Wait(Start("Disconnect")); }
    Answer Message(const std::string& body) { return Wait(Start("Message", body)); }
    Answer MessageFd(int fd) { return Wait(StartFd(fd)); }
    Answer Notify(const std::string& body) { return Wait(Start("Notify", body)); }
    Answer ReadSerial() { return Wait(StartReadSerial()); }
    Answer ReadPartners() { return Wait(StartRead("Partners")); }

    // The same, without waiting.
    PendingAnswer Start(const char* member);
    PendingAnswer Start(const char* member, const std::string& body);
    PendingAnswer StartFd(int fd);
    PendingAnswer StartReadSerial() { return StartRead("Serial"); }
    PendingAnswer StartRead(const char* property);
    Answer Wait(const PendingAnswer& answer);

    // Calls anything; `append` adds the arguments.
    PendingAnswer StartAny(const char* destination, const char* path, const char* interface,
                           const char* member, const Appender& append);

    // Sends a call of the endpoint's that says that nobody waits for a reply.
    void SendWithoutReply(const char* member, const std::string& body);

    // Asks for `name`; true when it is now ours. The bus's own policy may refuse it.
    bool Own(const std::string& name);

    // Runs the loop until somebody (nobody) owns `name`; false when that was not by the deadline.
    bool WaitForOwner(const std::string& name);
    bool WaitForNoOwner(const std::string& name);

    // What has come in, in order: "reply MEMBER", "error NAME", "notification BODY", "lost".
    std::vector<std::string> m_arrivals;

private:
    struct Pending;
    struct Closer {
        void operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }
    };

    static int OnAnswer(sd_bus_message* message, void* userdata, sd_bus_error* error);
    static int OnSignal(sd_bus_message* message, void* userdata, sd_bus_error* error);
    void Match(const std::string& rule);
    bool WaitForOwned(const std::string& name, bool owned);
    void Check(int result, const char* what) const;

    sd_bus* Carrier(const char* destination) const;

    std::unique_ptr<sd_bus, Closer> m_bus;
    std::unique_ptr<sd_bus, Closer> m_channel;
    std::unique_ptr<ReaderAside> m_reader;
    std::string m_name;
    std::map<const Pending*, std::unique_ptr<Pending>> m_pending;
    std::map<std::string, std::string> m_owners;
};
