// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What a driver made of a kernel, as it lies in memory that the console lends to the service, and
// in the console's files. Neither side believes the other: the service may hold what a stranger's
// program wrote, and the file may be damaged.
#pragma once

#include "compute/types/Fingerprint.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace compute::protocol {

/// Followed by the code. All zero when there is none.
struct CodeRecord {
    std::uint64_t mark = 0;
    /// Of all that follows, so that half a record is none. It tells damage, not intent.
    std::uint64_t checksum = 0;
    Fingerprint shader; ///< what the code was made of
    std::uint64_t length = 0;
};
inline constexpr std::uint64_t codeRecordMark = 0x3165646F4332346C; // "l42Code1"
/// Size of the memory for one kernel, and so of the longest record.
inline constexpr std::size_t codeMemoryBytes = std::size_t{4} << 20;

/// The record, with its code, at the start of memory that another process may be writing to: it is
/// copied first and checked then. Empty when there is none in order.
std::vector<std::byte> copyRecord(std::span<const std::byte> memory);
/// What tells a record from copyRecord() from others.
std::uint64_t checksumOf(std::span<const std::byte> record);
/// The code of such a record; empty when it was made of something else.
std::span<const std::byte> codeIn(std::span<const std::byte> record, const Fingerprint& shader);
/// Replaces what is there. False when there is not enough memory; then all stays as it is.
bool writeRecord(std::span<std::byte> memory, const Fingerprint& shader,
                 std::span<const std::byte> code);

} // namespace compute::protocol
