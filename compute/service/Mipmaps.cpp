// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/service/Mipmaps.h"

#include "compute/workers/Workers.h"

#include <algorithm>
#include <array>

namespace compute::service {

namespace {

std::uint8_t average(std::uint8_t a, std::uint8_t b, std::uint8_t c, std::uint8_t d) {
    return static_cast<std::uint8_t>((a + b + c + d + 2) / 4);
}

// A quarter of each before adding, so that large values do not overflow half way.
float average(float a, float b, float c, float d) {
    return (a * 0.25f + b * 0.25f) + (c * 0.25f + d * 0.25f);
}

_Float16 average(_Float16 a, _Float16 b, _Float16 c, _Float16 d) {
    return static_cast<_Float16>(average(static_cast<float>(a), static_cast<float>(b),
                                         static_cast<float>(c), static_cast<float>(d)));
}

/// One slice of a level, made of one or two of the level before, which are averaged.
struct Slice {
    const TextureLevel& source;
    const TextureLevel& target;
    std::size_t nearer; ///< from the first slice of the source to that which is read, in bytes
    std::size_t farther;
    std::size_t written;
};

template <class Component, std::size_t components>
void shrinkRow(const Slice& slice, std::uint32_t y) {
    const auto row = [](const TextureLevel& level, std::size_t from, std::uint32_t index) {
        return reinterpret_cast<Component*>(level.pixels + from + index * level.bytesPerRow);
    };
    const TextureLevel& source = slice.source;
    const std::uint32_t upper = std::min(2 * y, source.height - 1);
    const std::uint32_t lower = std::min(2 * y + 1, source.height - 1);
    const std::array near = {row(source, slice.nearer, upper), row(source, slice.nearer, lower)};
    const std::array far = {row(source, slice.farther, upper), row(source, slice.farther, lower)};
    const bool isVolume = slice.farther != slice.nearer;
    Component* out = row(slice.target, slice.written, y);
    for (std::uint32_t x = 0; x < slice.target.width; ++x) {
        const std::size_t left = std::min(2 * x, source.width - 1) * components;
        const std::size_t right = std::min(2 * x + 1, source.width - 1) * components;
        for (std::size_t c = 0; c < components; ++c) {
            const auto mean = [&](const std::array<Component*, 2>& rows) {
                return average(rows[0][left + c], rows[0][right + c], rows[1][left + c],
                               rows[1][right + c]);
            };
            const Component value = mean(near);
            out[x * components + c] =
                isVolume ? average(value, mean(far), value, mean(far)) : value;
        }
    }
}

template <class Component, std::size_t components>
void shrink(const Slice& slice) {
    constexpr std::uint32_t pixelsPerTask = 1u << 15;
    const TextureLevel& target = slice.target;
    const std::uint32_t rowsPerTask = std::max(1u, pixelsPerTask / target.width);
    const std::uint32_t tasks = (target.height + rowsPerTask - 1) / rowsPerTask;
    workers::run(tasks, [&](std::uint32_t first, std::uint32_t last) {
        const std::uint32_t end = std::min(last * rowsPerTask, target.height);
        for (std::uint32_t y = first * rowsPerTask; y < end; ++y)
            shrinkRow<Component, components>(slice, y);
    });
}

void shrinkSlice(PixelFormat format, const Slice& slice) {
    switch (format) {
    case PixelFormat::R8Unorm:
        return shrink<std::uint8_t, 1>(slice);
    case PixelFormat::RG8Unorm:
        return shrink<std::uint8_t, 2>(slice);
    case PixelFormat::RGBA8Unorm:
        return shrink<std::uint8_t, 4>(slice);
    case PixelFormat::RGBA16Float:
        return shrink<_Float16, 4>(slice);
    case PixelFormat::RGBA32Float:
        return shrink<float, 4>(slice);
    case PixelFormat::Depth32Float:
        return shrink<float, 1>(slice);
    case PixelFormat::R8Uint:
    case PixelFormat::RGBA8Uint:
    case PixelFormat::R32Uint:
    case PixelFormat::R32Sint:
    case PixelFormat::RGBA32Uint:
    case PixelFormat::RGBA32Sint:
        return; // integers are not averaged
    }
}

} // namespace

void generateMipmaps(const TextureView& texture, TextureType type) {
    for (std::uint32_t level = 1; level < texture.levelCount; ++level) {
        const TextureSlices& above = texture.slices[level - 1];
        const TextureSlices& here = texture.slices[level];
        for (std::uint32_t i = 0; i < here.count; ++i) {
            const bool isVolume = type == TextureType::D3;
            const std::size_t nearer = isVolume ? std::min(2 * i, above.count - 1) : i;
            const std::size_t farther = isVolume ? std::min(2 * i + 1, above.count - 1) : i;
            shrinkSlice(texture.format, {texture.levels[level - 1], texture.levels[level],
                                         nearer * above.bytesPerSlice,
                                         farther * above.bytesPerSlice, i * here.bytesPerSlice});
        }
    }
}

} // namespace compute::service
