// SPDX-License-Identifier: MIT

#include "sim/PairEnd.h"

#include <numeric>

#include "sim/World.h"

namespace sim {

std::pair<std::shared_ptr<PairEnd>, std::shared_ptr<PairEnd>> PairEnd::NewPair(World& world) {
    const auto one = std::make_shared<PairEnd>(world, world.NewSocketId());
    const auto other = std::make_shared<PairEnd>(world, world.NewSocketId());
    one->m_other = other;
    other->m_other = one;
    return {one, other};
}

// A process that was killed reaches nobody, until what it holds has been taken down.
bool PairEnd::IsOtherEndOpen() const {
    const std::shared_ptr<PairEnd> other = m_other.lock();
    const Process* const writer = m_world.Running();
    return other && other->m_isOpen && m_isOpen && !m_isShutDown &&
           (writer == nullptr || !writer->isDead);
}

std::size_t PairEnd::Unread() const {
    const std::shared_ptr<PairEnd> other = m_other.lock();
    if (!other) return 0;
    return std::accumulate(
        other->m_incoming.begin(), other->m_incoming.end(), std::size_t{0},
        [](std::size_t sum, const Chunk& chunk) { return sum + chunk.bytes.size() - chunk.at; });
}

void PairEnd::Deliver(std::string bytes, FdList fds) {
    m_onWrite(bytes);
    Chunk chunk;
    chunk.due = m_world.Now();
    chunk.bytes = std::move(bytes);
    chunk.fds = std::move(fds);
    m_other.lock()->m_incoming.push_back(std::move(chunk));
}

// What was written before can still be read.
void PairEnd::ShutDownWriting() {
    const std::shared_ptr<PairEnd> other = m_other.lock();
    if (!std::exchange(m_isShutDown, true) && other) PutEnd(other->m_incoming, m_world.Now());
}

// The other end may write no more: that is the same.
void PairEnd::ShutDownReading() {
    const std::shared_ptr<PairEnd> other = m_other.lock();
    if (other) other->ShutDownWriting();
}

void PairEnd::Close() {
    m_world.Log("socket %d is closed", Id());
    ShutDownWriting();
    m_isOpen = false;
    m_incoming.clear();
}

void PairEnd::Break() {
    ShutDownWriting();
    ShutDownReading();
}

}  // namespace sim
