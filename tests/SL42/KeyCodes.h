// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The keys that programs see, as a list of their codes.
#pragma once

#include "SL42/input/Keyboard.h"

#include <vector>

namespace starloom {

inline std::vector<int> codesOf(const KeyFlags& flags) {
    std::vector<int> held;
    for (std::size_t code = 0; code < flags.size(); ++code)
        if (flags[code])
            held.push_back(static_cast<int>(code));
    return held;
}

} // namespace starloom
