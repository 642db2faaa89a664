// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Random numbers that are the same on every machine (the generator known as SplitMix64).
#pragma once

#include <cstdint>
#include <vector>

namespace fuzz {

class Random {
public:
    explicit Random(std::uint64_t seed) : m_state(seed) {}

    std::uint64_t next() {
        std::uint64_t z = m_state += 0x9e3779b97f4a7c15;
        z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9;
        z = (z ^ (z >> 27)) * 0x94d049bb133111eb;
        return z ^ (z >> 31);
    }
    /// 0 .. count - 1
    unsigned below(std::size_t count) { return static_cast<unsigned>(next() % count); }
    unsigned between(unsigned first, unsigned last) { return first + below(last - first + 1); }
    bool percent(unsigned chance) { return below(100) < chance; }
    template <class Range>
    const auto& pick(const Range& range) {
        return std::begin(range)[below(std::size(range))];
    }

private:
    std::uint64_t m_state;
};

} // namespace fuzz
