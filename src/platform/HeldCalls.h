// Calls that wait until the bus takes their replies: in the order in which they came, and bounded
// for each sender, so that one who floods is refused itself and nobody else.
//
// Threads: the owner's. Lifetime: the queue owns what waits in it.

#pragma once

#include <cstddef>
#include <deque>
#include <map>
#include <string>
#include <utility>

#include "bus/TransportLimits.h"

namespace applist {

template <class Call>
class HeldCalls {
public:
    // For one sender transport_limits::kMaxHeldCalls wait, of `bytes` together, or one of any size;
    // that for `senders` at the same time.
    HeldCalls(std::size_t bytes, std::size_t senders) : m_maxBytes(bytes), m_maxSenders(senders) {}

    enum class Outcome { Held, SenderIsFull, TooManySenders };

    // Puts `call`, with a body of `bytes`, at the end. What is not held is not changed.
    Outcome Push(const std::string& sender, std::size_t bytes, Call&& call) {
        const auto known = m_shares.find(sender);
        if (known == m_shares.end() && m_shares.size() >= m_maxSenders) {
            return Outcome::TooManySenders;
        }
        if (known != m_shares.end() && !HasRoom(known->second, bytes)) return Outcome::SenderIsFull;
        m_waiting.push_back({sender, bytes, std::move(call)});
        // That may have been the last memory: no share without a call, no call without a share.
        try {
            Share& share = m_shares[sender];
            ++share.calls;
            share.bytes += bytes;
        } catch (...) {
            m_waiting.pop_back();
            throw;
        }
        return Outcome::Held;
    }

    bool Empty() const { return m_waiting.empty(); }

    // Takes out the one that has waited longest. REQUIRES: not empty.
    Call Pop() {
        Entry entry = std::move(m_waiting.front());
        m_waiting.pop_front();
        const auto share = m_shares.find(entry.sender);
        share->second.bytes -= entry.bytes;
        if (--share->second.calls == 0) m_shares.erase(share);
        return std::move(entry.call);
    }

    void Clear() {
        m_waiting.clear();
        m_shares.clear();
    }

private:
    struct Entry {
        std::string sender;
        std::size_t bytes;
        Call call;
    };
    // What waits of one sender.
    struct Share {
        std::size_t calls = 0;
        std::size_t bytes = 0;
    };

    bool HasRoom(const Share& share, std::size_t bytes) const {
        return share.calls < transport_limits::kMaxHeldCalls && share.bytes <= m_maxBytes &&
               bytes <= m_maxBytes - share.bytes;
    }

    const std::size_t m_maxBytes;
    const std::size_t m_maxSenders;
    std::deque<Entry> m_waiting;
    std::map<std::string, Share> m_shares;
};

}  // namespace applist
