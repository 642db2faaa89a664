// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/offline/ScaledImage.h"

#include "preview/PicturePlacement.h"
#include "preview/PictureScaler.h"

#include <algorithm>
#include <array>

namespace starloom {

using Mix = PictureScaler::Mix;
using Pixel = std::array<float, platform::Image::channelsPerPixel>;

static constexpr Pixel black{0, 0, 0, 1};

static Pixel mixed(const Pixel& a, const Pixel& b, std::uint32_t weight) {
    if (weight == 0)
        return a; // which may be infinite
    Pixel result{};
    const float share = static_cast<float>(weight) / 256;
    for (std::size_t channel = 0; channel < result.size(); ++channel)
        result[channel] = a[channel] * (1 - share) + b[channel] * share;
    return result;
}

static Pixel pixelAt(const platform::Image& image, const Mix& column, const Mix& row) {
    const auto x = static_cast<std::uint32_t>(column.first);
    const auto y = static_cast<std::uint32_t>(row.first);
    const std::uint32_t right = std::min(x + 1, image.width() - 1);
    const std::uint32_t below = std::min(y + 1, image.height() - 1);
    return mixed(mixed(image.pixel(x, y), image.pixel(right, y), column.weight),
                 mixed(image.pixel(x, below), image.pixel(right, below), column.weight),
                 row.weight);
}

platform::Image scaledImage(const platform::Image& image, std::uint32_t width,
                            std::uint32_t height) {
    const auto placement = placePicture(static_cast<int>(width), static_cast<int>(height), false);
    const auto columns =
        PictureScaler::mixes(image.width(), static_cast<std::size_t>(placement.width));
    const auto rows =
        PictureScaler::mixes(image.height(), static_cast<std::size_t>(placement.height));
    platform::Image scaled(width, height);
    for (std::uint32_t y = 0; y < height; ++y) {
        for (std::uint32_t x = 0; x < width; ++x) {
            // Outside, the difference wraps round to a number beyond the end.
            const std::size_t column = x - static_cast<std::uint32_t>(placement.x);
            const std::size_t row = y - static_cast<std::uint32_t>(placement.y);
            const bool isInside = column < columns.size() && row < rows.size();
            scaled.setPixel(x, y, isInside ? pixelAt(image, columns[column], rows[row]) : black);
        }
    }
    return scaled;
}

} // namespace starloom
