#include "sim/Stream.h"

#include <sys/epoll.h>

#include <algorithm>
#include <cerrno>
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

int Stream::FaultOfWrite() {
    if (m_isBroken || !m_isOpenAtBus) return EPIPE;
    if (m_toBusBytes >= m_world.m_faults.socketRoom) return EAGAIN;
    if (m_world.Strikes(m_world.m_faults.writeAgain, "EAGAIN of write")) return EAGAIN;
    if (m_world.Strikes(m_world.m_faults.interrupted, "EINTR of write")) return EINTR;
    if (!m_world.Strikes(m_world.m_faults.writeError, "EPIPE")) return 0;
    Break();
    return EPIPE;
}

std::size_t Stream::Shortened(std::size_t size, unsigned chance, const char* fault) {
    if (size <= 1 || !m_world.Strikes(chance, fault)) return size;
    return 1 + m_world.m_random.Below(size - 1);
}

ssize_t Stream::Write(const std::string& bytes, FdList fds) {
    const int fault = FaultOfWrite();
    if (fault != 0) return -fault;
    const Faults& faults = m_world.m_faults;
    const bool breaks = m_world.Strikes(faults.breakInMessage, "break in a message");
    std::size_t size = std::min(bytes.size(), faults.socketRoom - m_toBusBytes);
    size = Shortened(size, breaks ? 1000 : faults.shortWrite, "short write");
    Chunk chunk;
    chunk.due = m_lastToBus = std::max(m_lastToBus, m_world.Now() + m_world.Latency());
    chunk.bytes = bytes.substr(0, size);
    chunk.fds = std::move(fds);
    m_toBusBytes += size;
    m_toBus.push_back(std::move(chunk));
    m_world.Log("stream %d writes %zu of %zu", m_id, size, bytes.size());
    if (breaks) Break();
    return static_cast<ssize_t>(size);
}

int Stream::FaultOfRead() {
    if (m_toClient.empty() || m_toClient.front().due > m_world.Now()) return EAGAIN;
    if (m_toClient.front().isEnd) return 0;
    if (m_world.Strikes(m_world.m_faults.readAgain, "EAGAIN of read")) return EAGAIN;
    if (m_world.Strikes(m_world.m_faults.interrupted, "EINTR of read")) return EINTR;
    if (m_world.Strikes(m_world.m_faults.readEnd, "end of file")) Break();
    return 0;
}

ssize_t Stream::Read(std::size_t room, std::string& bytes, FdList& fds, bool& cut) {
    const int fault = FaultOfRead();
    if (fault != 0) return -fault;
    if (m_toClient.front().isEnd) return 0;
    Transfer(Shortened(room, m_world.m_faults.partialRead, "partial read"), bytes, fds);
    if (!fds.Empty() && m_world.Strikes(m_world.m_faults.loseFds, "lost descriptor")) {
        fds.Clear();
        cut = true;
    }
    m_world.Log("stream %d reads %zu", m_id, bytes.size());
    return static_cast<ssize_t>(bytes.size());
}

// Like the kernel, never reads past bytes that came with descriptors.
void Stream::Transfer(std::size_t room, std::string& bytes, FdList& fds) {
    while (bytes.size() < room && !m_toClient.empty() && fds.Empty()) {
        Chunk& chunk = m_toClient.front();
        if (chunk.due > m_world.Now() || chunk.isEnd) return;
        if (!chunk.fds.Empty()) {
            if (!bytes.empty()) return;
            fds = std::move(chunk.fds);
        }
        const std::size_t part = std::min(room - bytes.size(), chunk.bytes.size() - chunk.at);
        bytes.append(chunk.bytes, chunk.at, part);
        chunk.at += part;
        if (chunk.at == chunk.bytes.size()) m_toClient.pop_front();
    }
}

std::uint32_t Stream::Ready(std::uint32_t events, Usec& next) const {
    std::uint32_t ready = 0;
    if (!m_toClient.empty()) {
        const Chunk& front = m_toClient.front();
        if (front.due > m_world.Now()) {
            if ((events & EPOLLIN) != 0) next = std::min(next, front.due);
        } else {
            ready |= EPOLLIN;
            if (front.isEnd) ready |= EPOLLHUP | EPOLLRDHUP | EPOLLOUT;
        }
    }
    const bool hasRoom = m_toBusBytes < m_world.m_faults.socketRoom;
    if (hasRoom || m_isBroken || !m_isOpenAtBus) ready |= EPOLLOUT;
    return ready & (events | EPOLLHUP | EPOLLERR);
}

void Stream::CloseByClient() {
    m_world.Log("stream %d is closed", m_id);
    m_toClient.clear();
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
    m_toClient.push_back(std::move(chunk));
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
    m_lastToClient = std::max(m_lastToClient, m_world.Now());
    PutEnd(m_toClient, m_lastToClient);
}

void Stream::PutEnd(std::deque<Chunk>& queue, Usec due) {
    Chunk end;
    end.due = due;
    end.isEnd = true;
    queue.push_back(std::move(end));
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
    m_toClient.clear();
    PutEnd(m_toClient, m_world.Now());
}

void Stream::Hurry(bool alsoSilent) {
    const Usec now = m_world.Now();
    if (alsoSilent || !m_isSilent || m_stalledUntil < now + kSilence) m_stalledUntil = 0;
    for (Chunk& chunk : m_toBus) chunk.due = std::min(chunk.due, now);
    for (Chunk& chunk : m_toClient) chunk.due = std::min(chunk.due, now);
    m_lastToBus = m_lastToClient = 0;
}

}  // namespace sim
