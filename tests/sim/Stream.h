// SPDX-License-Identifier: MIT

// One connection of a process to the bus: what is on its way, in both directions, and what breaks
// it.
//
// Lifetime: shared by the process's descriptor, the bus and the world.

#pragma once

#include <cstddef>
#include <deque>
#include <string>

#include "sim/Socket.h"

namespace sim {

struct Process;

class Stream final : public Socket {
public:
    Stream(World& world, Process* owner, int id) : Socket(world, id), m_owner(owner) {}

    Process* Owner() const { return m_owner; }

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
    void Break() override;
    // What is late comes now. A bus that is silent for good stays so unless `alsoSilent`.
    void Hurry(bool alsoSilent);
    bool IsOpen() const { return m_isOpenHere || m_isOpenAtBus; }
    bool IsOpenHere() const { return m_isOpenHere; }

private:
    bool IsOtherEndOpen() const override { return m_isOpenAtBus && !m_isBroken; }
    std::size_t WaitingBytes() const override { return m_toBusBytes; }
    void Deliver(std::string bytes, FdList fds) override;
    void Close() override;

    Process* const m_owner;
    bool m_isOpenHere = true;
    bool m_isOpenAtBus = true;
    bool m_isBroken = false;
    std::deque<Chunk> m_toBus;
    std::size_t m_toBusBytes = 0;
    Usec m_lastToBus = 0;  // when the newest chunk is due: none overtakes another
    Usec m_lastToClient = 0;
    Usec m_stalledUntil = 0;
    bool m_isSilent = false;
};

}  // namespace sim
