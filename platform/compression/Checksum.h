// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Telling damaged bytes from whole ones.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace platform {

/// CRC-32 as in zlib (ISO 3309). `before` is that of the bytes in front of these, if any.
std::uint32_t checksum(std::span<const std::byte> bytes, std::uint32_t before = 0);

} // namespace platform
