// SPDX-License-Identifier: MIT

// Calls that wait for their turn. The senders take turns, one call each, and each sender's calls
// keep their order. What waits is bounded for each sender: one who floods is refused, and keeps
// nobody else waiting.
//
// The bounds of one sender alone would be worth little, as anybody can open many connections: the
// number of senders is bounded as well, and the number of calls that fill a share by themselves.

#pragma once

#include <algorithm>
#include <cstddef>
#include <deque>
#include <list>
#include <optional>
#include <string>
#include <utility>

#include "bus/TransportLimits.h"

namespace applist {

template <class Call>
class HeldCalls {
public:
    // Holds up to transport_limits::kMaxHeldCalls calls for one sender, with up to `bytes` of
    // bodies together, or a single body of any size; and that for up to `senders` senders at a
    // time. Up to transport_limits::kMaxLargeCalls of all may be larger than `bytes`.
    HeldCalls(std::size_t bytes, std::size_t senders) : m_maxBytes(bytes), m_maxSenders(senders) {}

    enum class Outcome { Held, SenderIsFull, TooManySenders };

    // Puts `call`, with a body of `bytes`, behind those of its sender. A call that is not held is
    // left as it was. A sender that is full is a flooder.
    Outcome Push(const std::string& sender, std::size_t bytes, Call&& call) {
        if (bytes > m_maxBytes && m_large >= transport_limits::kMaxLargeCalls) {
            return Outcome::TooManySenders;
        }
        const auto share = std::find_if(m_shares.begin(), m_shares.end(),
                                        [&](const Share& each) { return each.sender == sender; });
        if (share == m_shares.end()) return PushFirst(sender, bytes, std::move(call));
        if (!HasRoom(*share, bytes)) {
            share->isFlooder = true;
            return Outcome::SenderIsFull;
        }
        share->calls.push_back({std::move(call), bytes});
        share->bytes += bytes;
        m_large += bytes > m_maxBytes;
        return Outcome::Held;
    }

    bool Empty() const { return m_shares.empty(); }

    // From now on nobody is a flooder.
    void Pardon() {
        for (Share& share : m_shares) share.isFlooder = false;
    }

    // Takes out the next call of the sender whose turn it is; a flooder has none. Returns nothing
    // when nobody has a turn.
    std::optional<Call> Pop() {
        const auto share = std::find_if(m_shares.begin(), m_shares.end(),
                                        [](const Share& each) { return !each.isFlooder; });
        if (share == m_shares.end()) return std::nullopt;
        Entry entry = std::move(share->calls.front());
        share->calls.pop_front();
        share->bytes -= entry.bytes;
        m_large -= entry.bytes > m_maxBytes;
        if (share->calls.empty()) {
            m_shares.erase(share);
        } else {
            m_shares.splice(m_shares.end(), m_shares, share);
        }
        return std::move(entry.call);
    }

    void Clear() {
        m_shares.clear();
        m_large = 0;
    }

private:
    struct Entry {
        Call call;
        std::size_t bytes;
    };
    // What waits of one sender. There is one as long as at least one call of the sender waits.
    struct Share {
        std::string sender;
        std::deque<Entry> calls;
        std::size_t bytes = 0;
        bool isFlooder = false;
    };

    // A list of its own first: whatever cannot be allocated, nothing has changed then.
    Outcome PushFirst(const std::string& sender, std::size_t bytes, Call&& call) {
        if (m_shares.size() >= m_maxSenders) return Outcome::TooManySenders;
        std::list<Share> made(1);
        made.front().sender = sender;
        made.front().bytes = bytes;
        made.front().calls.push_back({std::move(call), bytes});
        m_shares.splice(m_shares.end(), made);
        m_large += bytes > m_maxBytes;
        return Outcome::Held;
    }

    // Written so that nothing can overflow, whatever `bytes` a sender claims. Calls without a body
    // do not keep a large one out: Connect may come right before it.
    bool HasRoom(const Share& share, std::size_t bytes) const {
        if (share.calls.size() >= transport_limits::kMaxHeldCalls) return false;
        if (share.bytes == 0) return true;
        return share.bytes <= m_maxBytes && bytes <= m_maxBytes - share.bytes;
    }

    const std::size_t m_maxBytes;
    const std::size_t m_maxSenders;
    std::list<Share> m_shares;  // in the order of their turns
    std::size_t m_large = 0;
};

}  // namespace applist
