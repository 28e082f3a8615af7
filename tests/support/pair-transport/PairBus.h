// SPDX-License-Identifier: MIT

// A bus in memory that joins one service and its partners, with a clock that stands still until a
// test moves it. Nothing happens by itself: a test lets things happen one by one, in the order in
// which they were sent or in one that it picks, and says what goes wrong.
//
// Threads: one. Lifetime: the process's; Reset makes it new, when nobody is on it.

#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "ipc/TesselDbusLocal.h"

namespace applist {
class RemoteLink;
}

namespace pair {

using Link = applist::RemoteLink;
using Bytes = std::vector<char>;
using Milliseconds = std::chrono::milliseconds;

// What goes wrong.
struct Faults {
    // Picks one of `count` things that may happen next. Without it, what was sent first happens.
    std::function<std::size_t(std::size_t count)> pick;
    // Is called before each thing that happens, and may change everything.
    std::function<void()> beforeStep;
    // Decides for each notification on its way to a partner whether it is lost.
    std::function<bool()> loses;
    // The service's count of its notifications is not to be had.
    bool losesSerials = false;
    // Replies and notifications overtake each other, when `pick` says so.
    bool reordersKinds = false;
    // The bus's policy lets no partner call the service.
    bool refuses = false;
    // The service stands: it takes nothing that it is sent.
    bool serviceStands = false;
};

class Bus {
public:
    static Bus& Get();
    // REQUIRES: neither service nor partner is there.
    void Reset();

    Faults m_faults;

    // One thing happens: a message arrives at either end. False when nothing is on its way that
    // could.
    bool Step();
    // Steps until nothing is on its way, without time passing.
    void Run();
    // Time passes, timers go off, and nothing arrives.
    void Pass(Milliseconds time);
    // Time passes, and nothing else happens.
    void WaitUntil(std::chrono::microseconds time);
    // All that there is to happen in `time` happens.
    void RunFor(Milliseconds time);
    Milliseconds Now() const { return m_now; }

    // The service is gone from one moment to the next, with all that was on its way to or from it.
    // Its object is still there, for the test to destroy.
    void KillService();
    // All partners lose the bus, with all that was on its way to them; and find it again.
    void LoseBus();
    void FindBus();
    bool IsThere() const { return m_isThere; }
    // Every partner connects once more.
    void ConnectAgain();

    // The ids of the messages that the service has executed, in order.
    std::vector<int> m_executed;
    std::size_t CountOf(int messageId) const;

private:
    friend class applist::RemoteLink;
    friend class ::TesselDbusLocal;
    struct Choice;

    std::string NewName();
    void Join(const std::shared_ptr<Link>& link);
    void Attach(TesselDbusLocal* service);
    void Detach(const TesselDbusLocal* service);
    void Announce();
    void TellOwner(Link& link);
    void Broadcast(const Bytes& body);
    void Unicast(const Bytes& body, const std::string& partner, bool toEveryone = false);
    std::vector<Choice> Choices() const;
    std::shared_ptr<Link> Next() const;
    void DropClosedLinks();

    Milliseconds m_now{0};
    TesselDbusLocal* m_service = nullptr;
    std::string m_serviceName;  // a new one for each service
    std::uint64_t m_serial = 0;
    std::uint64_t m_order = 0;
    int m_names = 0;
    bool m_isThere = true;
    std::vector<std::shared_ptr<Link>> m_links;
};

}  // namespace pair
