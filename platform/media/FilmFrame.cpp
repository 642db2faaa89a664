// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/media/FilmFrame.h"

#include "platform/image/FilmColours.h"
#include "platform/image/Image.h"

#include <algorithm>
#include <cassert>
#include <vector>

namespace platform {
namespace {

void repeatBytes(std::span<const std::uint8_t> from, std::size_t times, std::uint8_t* to) {
    if (times == 1) {
        std::ranges::copy(from, to);
    } else if (times == 2) {
        for (std::size_t i = 0; i < from.size(); ++i)
            to[2 * i] = to[2 * i + 1] = from[i];
    } else {
        for (const std::uint8_t value : from)
            to = std::fill_n(to, times, value);
    }
}

/// Where a row of the picture comes to lie in one of the planes, with each value so often across
/// and down.
struct Place {
    std::uint8_t* bytes;
    std::ptrdiff_t stride;
    std::size_t times;
};

Place placeIn(const AVFrame& frame, std::size_t plane, std::size_t row, std::size_t times) {
    const std::ptrdiff_t stride = frame.linesize[plane];
    return {frame.data[plane] + static_cast<std::ptrdiff_t>(row * times) * stride, stride, times};
}

void fill(const Place& place, std::span<const std::uint8_t> row) {
    repeatBytes(row, place.times, place.bytes);
    for (std::size_t i = 1; i < place.times; ++i)
        std::copy_n(place.bytes, row.size() * place.times,
                    place.bytes + static_cast<std::ptrdiff_t>(i) * place.stride);
}

} // namespace

// Squares of pixels that share their colour differences are parts of one pixel of the picture,
// since `repeat` is even: nothing is averaged.
void drawFilmFrame(std::span<const std::uint16_t> halves, std::uint32_t repeat, AVFrame& frame) {
    const std::size_t width = static_cast<std::size_t>(frame.width) / repeat;
    const std::size_t height = static_cast<std::size_t>(frame.height) / repeat;
    const std::size_t rowLength = width * Image::channelsPerPixel;
    assert(repeat % 2 == 0 && halves.size() == rowLength * height);
    std::vector<std::uint8_t> luma(width);
    std::vector<std::uint8_t> blue(width);
    std::vector<std::uint8_t> red(width);
    for (std::size_t row = 0; row < height; ++row) {
        convertToFilm(halves.subspan(row * rowLength, rowLength),
                      {luma.data(), blue.data(), red.data()});
        fill(placeIn(frame, 0, row, repeat), luma);
        fill(placeIn(frame, 1, row, repeat / 2), blue);
        fill(placeIn(frame, 2, row, repeat / 2), red);
    }
}

} // namespace platform
