// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// How much memory the console takes, and how much there is.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

namespace platform {

/// Bytes of memory that this process and its children hold, from /proc. Where the system tells,
/// pages that several of them share are counted once, a share to each (the proportional set size).
/// None when the system does not say.
std::optional<std::size_t> residentMemoryWithChildren();

/// Bytes of memory that the machine has, whoever holds them; 0 when the system does not say.
std::uint64_t physicalMemory();

} // namespace platform
