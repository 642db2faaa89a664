// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/capture/portal/PictureLayout.h"

#include <algorithm>

namespace platform {
namespace {

constexpr std::size_t bytesPerPixel = 4;

bool isSide(std::uint32_t length) {
    return length > 0 && length <= largestSide;
}

struct Interval {
    std::uint32_t start;
    std::uint32_t length;
};

/// What lies both in the interval claimed and between 0 and `limit`.
Interval within(std::int64_t start, std::int64_t length, std::int64_t limit) {
    const std::int64_t first = std::clamp<std::int64_t>(start, 0, limit);
    const std::int64_t last = std::clamp<std::int64_t>(start + length, first, limit);
    return {static_cast<std::uint32_t>(first), static_cast<std::uint32_t>(last - first)};
}

} // namespace

std::optional<PictureLayout> checkedLayout(const PictureFormat& format, const PictureClaim& claim,
                                           const std::optional<CropClaim>& crop,
                                           std::size_t available) {
    if (!isSide(format.width) || !isSide(format.height) || claim.stride < 0)
        return std::nullopt;
    const std::size_t row = format.width * bytesPerPixel;
    const std::size_t stride = claim.stride == 0 ? row : static_cast<std::size_t>(claim.stride);
    // Neither the product (14 and 31 bits) nor the sum overflows 64 bits.
    const std::size_t end = claim.offset + (format.height - 1) * stride + row;
    if (stride < row || end > available)
        return std::nullopt;
    Interval x{0, format.width};
    Interval y{0, format.height};
    if (crop && crop->width > 0 && crop->height > 0) {
        x = within(crop->x, crop->width, format.width);
        y = within(crop->y, crop->height, format.height);
    }
    if (x.length == 0 || y.length == 0)
        return std::nullopt;
    const std::size_t offset = claim.offset + y.start * stride + x.start * bytesPerPixel;
    return PictureLayout{.offset = offset,
                         .size = std::min(y.length * stride, available - offset),
                         .bytesPerRow = stride,
                         .width = x.length,
                         .height = y.length};
}

} // namespace platform
