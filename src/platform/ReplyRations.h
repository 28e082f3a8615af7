// SPDX-License-Identifier: MIT

// How much of what waits in the bus may be for whom. Nobody can see who reads his replies: the bus
// alone knows, and it tells only that it takes nothing more. Then everybody's share is rationed for
// a while, so that whoever does not read needs many seconds to fill the bus again, and the others
// are answered meanwhile. Few read so much that they notice.
//
// Who got most of what the bus has not confirmed is named in the log, and has nothing worse to
// fear: somebody patient could make that anybody else.
//
// Threads: one. Plain values.

#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

namespace applist {

class ReplyRations {
public:
    using Clock = std::chrono::steady_clock;

    // Whether `partner` may get another reply. Throws std::bad_alloc.
    bool Admits(const std::string& partner, Clock::time_point now);

    // `partner`, who was admitted, gets a reply that weighs `bytes`.
    void Charge(const std::string& partner, std::size_t bytes);

    // The bus has taken everything: all rations are whole again.
    void Renew() { m_sent.clear(); }

    // From `now` on there are rations, for transport_limits::kRationing.
    void Begin(Clock::time_point now);

    // Returns who got most since the last renewal; empty when nobody got anything.
    std::string Most() const;

private:
    std::map<std::string, std::uint64_t> m_sent;
    Clock::time_point m_end{};
};

}  // namespace applist
