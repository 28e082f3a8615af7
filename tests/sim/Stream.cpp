// SPDX-License-Identifier: MIT

#include "sim/Stream.h"

#include <algorithm>
#include <utility>

#include "sim/World.h"

namespace sim {

namespace {

// A bus that was stalled for longer than this lets somebody in and never answers.
constexpr Usec kSilence = 2 * kSecond;

// Bytes that no message begins with: the bus library would wait for the rest of one.
std::string Garbage(Random& random) {
    std::string bytes(16 + random.Below(100), '\0');
    for (char& byte : bytes) byte = static_cast<char>(random.Next());
    bytes[0] = '?';
    return bytes;
}

}  // namespace

// ---- The client's side --------------------------------------------------------------------------

void Stream::Deliver(std::string bytes, FdList fds) {
    Chunk chunk;
    chunk.due = m_lastToBus = std::max(m_lastToBus, m_world.Now() + m_world.Latency());
    m_toBusBytes += bytes.size();
    chunk.bytes = std::move(bytes);
    chunk.fds = std::move(fds);
    m_toBus.push_back(std::move(chunk));
}

void Stream::Close() {
    m_world.Log("stream %d is closed", Id());
    m_incoming.clear();
    m_isOpenHere = false;
    if (m_isBroken) return;
    m_owner->hasGivenUp = m_owner->hasGivenUp || (m_isOpenAtBus && m_owner->isStaying);
    m_lastToBus = std::max(m_lastToBus, m_world.Now() + 5);
    PutEnd(m_toBus, m_lastToBus);
}

// ---- The bus's side -----------------------------------------------------------------------------

void Stream::SendToClient(std::string bytes, FdList fds) {
    if (!m_isOpenHere || m_isBroken) return;
    if (m_world.Strikes(m_world.m_faults.garbage, "garbage")) {
        bytes = Garbage(m_world.m_random);
    }
    Chunk chunk;
    chunk.due = m_lastToClient = std::max(m_lastToClient, m_world.Now() + m_world.Latency());
    chunk.bytes = std::move(bytes);
    chunk.fds = std::move(fds);
    m_incoming.push_back(std::move(chunk));
}

bool Stream::TakeArrived(Chunk& chunk) {
    if (m_toBus.empty() || m_toBus.front().due > m_world.Now()) return false;
    chunk = std::move(m_toBus.front());
    m_toBus.pop_front();
    m_toBusBytes -= chunk.bytes.size();
    return true;
}

void Stream::CloseByBus() {
    if (!std::exchange(m_isOpenAtBus, false)) return;
    m_toBus.clear();
    m_toBusBytes = 0;
    m_lastToClient = std::max(m_lastToClient, m_world.Now());
    PutEnd(m_incoming, m_lastToClient);
}

// ---- The world's --------------------------------------------------------------------------------

Usec Stream::ArrivesAt() const {
    if (m_toBus.empty() || !m_isOpenAtBus) return kNever;
    return std::max(m_toBus.front().due, m_stalledUntil);
}

void Stream::Break() {
    if (std::exchange(m_isBroken, true)) return;
    PutEnd(m_toBus, m_world.Now());
    for (Chunk& chunk : m_toBus) chunk.due = std::min(chunk.due, m_world.Now());
    m_incoming.clear();
    PutEnd(m_incoming, m_world.Now());
}

void Stream::Hurry(bool alsoSilent) {
    const Usec now = m_world.Now();
    if (alsoSilent || !m_isSilent || m_stalledUntil < now + kSilence) m_stalledUntil = 0;
    for (Chunk& chunk : m_toBus) chunk.due = std::min(chunk.due, now);
    for (Chunk& chunk : m_incoming) chunk.due = std::min(chunk.due, now);
    m_lastToBus = m_lastToClient = 0;
}

}  // namespace sim
