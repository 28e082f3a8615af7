// One connection of a process to the bus: what is on its way, in both directions, and what breaks
// it. Reads and writes as the kernel's would, faults included.
//
// Lifetime: shared by the process's descriptor, the bus and the world.

#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>

#include "sim/FdList.h"
#include "sim/Time.h"

namespace sim {

class World;
struct Process;

struct Chunk {
    Usec due = 0;
    std::string bytes;
    std::size_t at = 0;  // how much of it has been read
    FdList fds;
    bool isEnd = false;
};

class Stream {
public:
    Stream(World& world, Process* owner, int id) : m_world(world), m_owner(owner), m_id(id) {}

    int Id() const { return m_id; }
    Process* Owner() const { return m_owner; }

    // ---- The client's side. Negative results are errnos.

    // Takes the beginning of `bytes`, as much as there is room for, and `fds` with it.
    ssize_t Write(const std::string& bytes, FdList fds);
    // Puts at most `room` bytes into `bytes`; none at the end. Sets `cut` when descriptors came and
    // the client had no place for them.
    ssize_t Read(std::size_t room, std::string& bytes, FdList& fds, bool& cut);
    // Returns which of `events`, of epoll, hold now; else lowers `next` to when to look again.
    std::uint32_t Ready(std::uint32_t events, Usec& next) const;
    void CloseByClient();

    // ---- The bus's side.

    void SendToClient(std::string bytes, FdList fds);
    // Takes what has arrived. Returns false when nothing has, or nothing more will.
    bool TakeArrived(Chunk& chunk);
    void CloseByBus();
    // The bus does not read until then.
    void StallUntil(Usec time) { m_stalledUntil = time; }
    // Nor answers the handshake: it let the client in, and that is all.
    void BeSilentUntil(Usec time) {
        m_isSilent = true;
        StallUntil(time);
    }

    // ---- The world's.

    // When the bus has something to read; kNever for nothing so far.
    Usec ArrivesAt() const;
    // Both sides hear of it at their next call; what was on its way to the bus still arrives.
    void Break();
    // What is late comes now. A bus that is silent for good stays so unless `alsoSilent`.
    void Hurry(bool alsoSilent);
    bool IsOpen() const { return m_isOpenHere || m_isOpenAtBus; }
    bool IsOpenHere() const { return m_isOpenHere; }

private:
    int FaultOfWrite();
    int FaultOfRead();
    std::size_t Shortened(std::size_t size, unsigned chance, const char* fault);
    void Transfer(std::size_t room, std::string& bytes, FdList& fds);
    void PutEnd(std::deque<Chunk>& queue, Usec due);

    World& m_world;
    Process* const m_owner;
    const int m_id;
    bool m_isOpenHere = true;
    bool m_isOpenAtBus = true;
    bool m_isBroken = false;
    std::deque<Chunk> m_toBus;
    std::deque<Chunk> m_toClient;
    std::size_t m_toBusBytes = 0;
    Usec m_lastToBus = 0;  // when the newest chunk is due: none overtakes another
    Usec m_lastToClient = 0;
    Usec m_stalledUntil = 0;
    bool m_isSilent = false;
};

}  // namespace sim
