// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// From the console's colours to those of film: half floats in extended Display P3 become luma and
// two colour differences in 8 bits, by the matrix of BT.709 in the limited range. Every frame of a
// video goes through here, so it is fast.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace platform {

/// A value for each pixel.
struct FilmPixels {
    std::uint8_t* luma;
    std::uint8_t* blue; ///< less luma, like the next
    std::uint8_t* red;
};

/// Converts pixels of four half floats, laid out as in Image: what convertToDisplay() makes of
/// them, before it is rounded to 8 bits. Any thread.
void convertToFilm(std::span<const std::uint16_t> halves, FilmPixels film);

} // namespace platform
