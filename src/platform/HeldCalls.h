// Calls that wait until the bus takes replies again: in the order in which they came, and bounded
// for each sender, so that a sender who floods is refused and the others are not.
//
// The bounds of one sender alone would be worth little, as anybody can open many connections: the
// number of senders is bounded as well.

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
    // Holds up to transport_limits::kMaxHeldCalls calls for one sender, with up to `bytes` of
    // bodies together, or a single call of any size; and that for up to `senders` senders at a
    // time.
    HeldCalls(std::size_t bytes, std::size_t senders) : m_maxBytes(bytes), m_maxSenders(senders) {}

    enum class Outcome { Held, SenderIsFull, TooManySenders };

    // Puts `call`, with a body of `bytes`, at the end. A call that is not held is left as it was.
    Outcome Push(const std::string& sender, std::size_t bytes, Call&& call) {
        const auto known = m_shares.find(sender);
        if (known == m_shares.end() && m_shares.size() >= m_maxSenders) {
            return Outcome::TooManySenders;
        }
        if (known != m_shares.end() && !HasRoom(known->second, bytes)) return Outcome::SenderIsFull;
        m_waiting.push_back({sender, bytes, std::move(call)});
        // There may be no memory left for the share. Pop relies on there
        // being one for each call, so the call is taken out again.
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

    // Takes out the call that has waited longest. REQUIRES: not empty.
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
    // What waits of one sender. There is one as long as at least one call of the sender waits.
    struct Share {
        std::size_t calls = 0;
        std::size_t bytes = 0;
    };

    // Written so that nothing can overflow, whatever `bytes` a sender claims.
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
