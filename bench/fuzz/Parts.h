// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// All that a function can name: its variables, their fields and elements, and those of these.
#pragma once

#include "bench/fuzz/Program.h"

#include <functional>

namespace fuzz {

enum class Use : std::uint8_t { Read, Assign, Address };

/// Of a variable; lanes of vectors are not taken apart.
struct Part {
    unsigned variable;
    std::vector<int> path; ///< the number of a field, or any element
    Type type;
};
inline constexpr int anyElement = -1;

/// The parts that can be used so and that are accepted by their type. With `onlyUniform`, of
/// counters and of variables that are uniform.
std::vector<Part> findParts(const Program& program, const Function& function, Use use,
                            bool onlyUniform, const std::function<bool(Type)>& accepts);

} // namespace fuzz
