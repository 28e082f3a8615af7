// SPDX-License-Identifier: MIT

// The one source of chance of a simulated round: everything that may vary is drawn from it, so a
// seed gives one history, on every machine.

#pragma once

#include <cstdint>

namespace sim {

class Random {
public:
    explicit Random(std::uint64_t seed) : m_state(seed * kStep + 1) {}

    // splitmix64: neighbouring seeds give unrelated numbers.
    std::uint64_t Next() {
        std::uint64_t mixed = (m_state += kStep);
        mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9u;
        mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EBu;
        return mixed ^ (mixed >> 31);
    }
    std::uint64_t Below(std::uint64_t count) { return Next() % count; }

    // A chance of zero draws nothing: a fault that a round does not know leaves its history alone.
    bool Permille(unsigned chance) { return chance != 0 && Below(1000) < chance; }

private:
    static constexpr std::uint64_t kStep = 0x9E3779B97F4A7C15u;

    std::uint64_t m_state;
};

}  // namespace sim
