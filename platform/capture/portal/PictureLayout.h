// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Where a picture lies in a buffer of another process. That process says so, and is not believed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

namespace platform {

/// What a stream has agreed on for all its pictures.
struct PictureFormat {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    bool isRedFirst = false; ///< red, green, blue instead of blue, green, red
    bool isDmaBuf = false;   ///< else plain memory
};

/// A side of the largest picture that is taken.
inline constexpr std::uint32_t largestSide = 16384;

/// What the other process says about one picture, in bytes.
struct PictureClaim {
    std::uint32_t offset = 0;
    std::uint32_t size = 0;
    std::int32_t stride = 0; ///< 0 for rows without padding
};

/// The part of a picture that is the window, in pixels.
struct CropClaim {
    std::int32_t x = 0;
    std::int32_t y = 0;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
};

struct PictureLayout {
    std::size_t offset = 0; ///< of the first pixel in the buffer
    std::size_t size = 0;   ///< of all rows; what the last one lacks of its padding is left out
    std::size_t bytesPerRow = 0;
    std::uint32_t width = 0;
    std::uint32_t height = 0;

    bool operator==(const PictureLayout&) const = default;
};

/// The layout if all of the picture lies within `available` bytes; what the crop leaves of it. None
/// when any of it would lie outside, or nothing is left. An invalid crop (without a width or
/// height) stands for none.
std::optional<PictureLayout> checkedLayout(const PictureFormat& format, const PictureClaim& claim,
                                           const std::optional<CropClaim>& crop,
                                           std::size_t available);

} // namespace platform
