// SPDX-License-Identifier: MIT

// A bus of the test's own: a real dbus-daemon or dbus-broker, on a socket in a folder of its own,
// with the limits of a session bus or with those that are built in (a system bus's).
//
// The bus is one process group, so that it can be killed, stopped and started again like one
// process; nothing of it outlives the test program. dbus-broker insists on a journal: it gets a
// stand-in for the journal's socket, in a mount namespace that it alone sees.
//
// Threads: one. Lifetime: the bus ends with the object.

#pragma once

#include <sys/types.h>

#include <iosfwd>
#include <string>
#include <vector>

enum class BusProgram { Daemon, Broker };
enum class BusLimits { Session, BuiltIn };

// Whether clients have a direct channel is the fixture's business; the bus knows nothing of it.
struct BusVariety {
    BusProgram program;
    BusLimits limits;
    bool withChannels = false;
};

// All four; both programs with channels; and the words for one in a test's name.
std::vector<BusVariety> EveryBus();
std::vector<BusVariety> EveryBusWithChannels();
std::string NameOf(const BusVariety& variety);
std::ostream& operator<<(std::ostream& out, const BusVariety& variety);

class PrivateBus {
public:
    // Starts a bus that lets everyone do everything.
    explicit PrivateBus(const BusVariety& variety);

    // Starts a bus with the built-in limits and `policies`, the <policy> elements of its
    // configuration. Its socket is open to every user.
    PrivateBus(BusProgram program, const std::string& policies);

    ~PrivateBus();
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

    const std::string& Address() const { return m_address; }

    // Lets a dbus-daemon that was started with policies have these instead, for those who are
    // connected already, too. Returns when it has them.
    void SetPolicies(const std::string& policies);

    // Ends every process of the bus with SIGKILL, and returns when they are gone.
    void Kill();

    // Starts a new bus on the same address. REQUIRES: killed.
    void Start();

    // Keeps every process of the bus from running, and returns when they stand; lets them run on.
    void Stop();
    void Continue();

    // Returns when the bus has handled everything that was sent to it so far, and has passed on
    // what its clients' sockets take.
    void WaitUntilIdle();

    // What the bus has said on stdout and stderr, for the text of a failure.
    std::string Output() const;

private:
    std::string PathOf(const char* file) const { return m_folder + "/" + file; }
    void Prepare(const std::string& policies);
    void WriteConfiguration(const std::string& policies) const;

    const BusProgram m_program;
    std::string m_folder;
    std::string m_address;
    std::string m_configuration;
    pid_t m_group = -1;
};
