// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// How much memory the console takes, for benchmarks.
#pragma once

#include <cstddef>
#include <optional>

namespace platform {

/// Bytes of memory that this process and its children hold, from /proc. Where the system tells,
/// pages that several of them share are counted once, a share to each (the proportional set size).
/// None when the system does not say.
std::optional<std::size_t> residentMemoryWithChildren();

} // namespace platform
