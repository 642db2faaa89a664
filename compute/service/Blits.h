// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Fills and copies, on all cores where the range is long enough to pay.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace compute::service {

void fill(std::span<std::byte> bytes, std::uint8_t value);

/// The ranges have one length and may overlap.
void copy(std::span<const std::byte> source, std::span<std::byte> destination);

} // namespace compute::service
