// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// How a performance lies in a file. docs/performance.md describes it for people.
//
// A line that names the format, then records: a byte that says what it is, the length of its
// contents in 4 bytes, the contents, and 4 bytes of checksum over all of that. Numbers are
// little-endian. Records are only ever appended, so a file that was cut off anywhere is good up to
// its last whole record.
#pragma once

#include "SL42/performance/PerformanceFrame.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace starloom::performance {

inline constexpr std::string_view heading = "Starloom 42 performance 1\n";

enum class RecordKind : std::uint8_t {
    Title = 1,   ///< text; the first record
    Program = 2, ///< text; belongs to the next frame
    Frame = 3,
    End = 4, ///< empty; the last record of a performance that was ended
};

/// No record has longer contents.
inline constexpr std::size_t longestRecord = std::size_t{16} << 20;
/// In seconds: a week.
inline constexpr double longestPerformance = 604'800;
/// Kind and length, and the checksum.
inline constexpr std::size_t headLength = 5;
inline constexpr std::size_t checksumLength = 4;

/// A whole record.
std::string encodeRecord(RecordKind kind, std::string_view contents);
/// The contents of a frame's record, without its program. What is as in the frame before is left
/// out.
std::string encodeFrame(const PerformanceFrame& frame, const FrameState& before);
/// The frame in such contents; none when they make no sense.
std::optional<PerformanceFrame> decodeFrame(std::string_view contents, const FrameState& before);

} // namespace starloom::performance
