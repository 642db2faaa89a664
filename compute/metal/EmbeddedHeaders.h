// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The texts of the shading language's standard library, which the build puts into the binary.
#pragma once

#include <span>
#include <string_view>

namespace compute::metal {

struct EmbeddedHeader {
    std::string_view name; ///< as `#include <...>` spells it
    std::string_view text; ///< followed by a NUL
};

std::span<const EmbeddedHeader> embeddedHeaders();

} // namespace compute::metal
