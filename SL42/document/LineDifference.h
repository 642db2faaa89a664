// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// How two texts differ, line by line.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace starloom {

struct DifferenceLine {
    enum class Kind { Common, Removed, Added };
    Kind kind = Kind::Common;
    std::string text;
    bool operator==(const DifferenceLine&) const = default;
};

/// All lines of both texts in an order in which those removed and added lead from `from` to `to`,
/// with as few of them as can be (Myers: An O(ND) Difference Algorithm and Its Variations, 1986).
/// Of texts that differ so much that nobody would read the comparison, what lies between their
/// common beginning and end is not compared: all of it was removed, all of it was added.
std::vector<DifferenceLine> differenceOf(std::string_view from, std::string_view to);

} // namespace starloom
