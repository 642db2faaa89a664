// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The extent of a grid or of a threadgroup.
#pragma once

#include <cstdint>
#include <tuple>

namespace compute {

/// In threads.
struct Extent {
    std::uint32_t width = 1;
    std::uint32_t height = 1;
    std::uint32_t depth = 1;
    bool operator==(const Extent&) const = default;

    template <class Self>
    static auto fields(Self& self) {
        return std::tie(self.width, self.height, self.depth);
    }
};

} // namespace compute
