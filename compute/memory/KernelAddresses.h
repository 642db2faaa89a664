// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Which addresses kernels may use. All memory that they can reach lies in one region of the address
// space and nothing else does: no stack, no heap, no code. Machine code is made so that it keeps to
// the region whatever a program computes (compute/kernel/containment/ConfineAccesses.h), as
// WebAssembly engines do it: an offset from a pointer into the region reaches no further than what
// is reserved around the region, and any other pointer has its upper bits replaced by those of the
// region.
#pragma once

#include <cstdint>

namespace compute::memory {

/// Where the region begins and how long it is: as one power of two, so that a mask leads into it.
/// Below the addresses at which Linux places programs and libraries, on x86-64 and on ARM alike.
inline constexpr std::uint64_t regionStart = std::uint64_t{1} << 45;
inline constexpr std::uint64_t regionBytes = std::uint64_t{1} << 45;

/// How far an offset may lead away from where a pointer into the region points, in bytes, up or
/// down: every 32-bit index into elements of up to 32 bytes, and fields of structures besides.
/// Reserved and inaccessible on either side of the region and of each buffer in it.
inline constexpr std::uint64_t reach = (std::uint64_t{128} << 30) + (std::uint64_t{1} << 30);

} // namespace compute::memory
