// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// FNV-1a (Fowler, Noll, Vo), 32 and 64 bits: short sums over short data, the same on every machine.
// They tell damage, not intent: whoever wants to can find other bytes with the same sum.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace platform {

namespace detail {
template <class Sum>
constexpr Sum fnv1a(std::span<const std::byte> bytes, Sum sum, Sum prime) {
    for (const std::byte byte : bytes)
        sum = (sum ^ std::to_integer<Sum>(byte)) * prime;
    return sum;
}
} // namespace detail

constexpr std::uint32_t fnv1a32(std::span<const std::byte> bytes) {
    return detail::fnv1a<std::uint32_t>(bytes, 0x811c9dc5, 0x01000193);
}

constexpr std::uint64_t fnv1a64(std::span<const std::byte> bytes) {
    return detail::fnv1a<std::uint64_t>(bytes, 0xcbf29ce484222325, 0x100000001b3);
}

} // namespace platform
