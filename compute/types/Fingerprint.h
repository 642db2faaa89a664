// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What tells apart two pieces of machine code.
#pragma once

#include <cstdint>
#include <tuple>

namespace compute {

/// A hash of 128 bits: equal for two things only if they are the same; zero where it is not known.
struct Fingerprint {
    std::uint64_t low = 0;
    std::uint64_t high = 0;
    bool operator==(const Fingerprint&) const = default;

    template <class Self>
    static auto fields(Self& self) {
        return std::tie(self.low, self.high);
    }
};

} // namespace compute
