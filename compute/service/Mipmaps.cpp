// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/service/Mipmaps.h"

#include "compute/workers/Workers.h"

#include <algorithm>

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

template <class Component, std::size_t components>
void shrinkRow(const TextureLevel& source, const TextureLevel& target, std::uint32_t y) {
    const auto row = [](const TextureLevel& level, std::uint32_t index) {
        return reinterpret_cast<Component*>(level.pixels + index * level.bytesPerRow);
    };
    const Component* upper = row(source, std::min(2 * y, source.height - 1));
    const Component* lower = row(source, std::min(2 * y + 1, source.height - 1));
    Component* out = row(target, y);
    for (std::uint32_t x = 0; x < target.width; ++x) {
        const std::size_t left = std::min(2 * x, source.width - 1) * components;
        const std::size_t right = std::min(2 * x + 1, source.width - 1) * components;
        for (std::size_t c = 0; c < components; ++c)
            out[x * components + c] =
                average(upper[left + c], upper[right + c], lower[left + c], lower[right + c]);
    }
}

template <class Component, std::size_t components>
void shrink(const TextureLevel& source, const TextureLevel& target) {
    constexpr std::uint32_t pixelsPerTask = 1u << 15;
    const std::uint32_t rowsPerTask = std::max(1u, pixelsPerTask / target.width);
    const std::uint32_t tasks = (target.height + rowsPerTask - 1) / rowsPerTask;
    workers::run(tasks, [&](std::uint32_t first, std::uint32_t last) {
        const std::uint32_t end = std::min(last * rowsPerTask, target.height);
        for (std::uint32_t y = first * rowsPerTask; y < end; ++y)
            shrinkRow<Component, components>(source, target, y);
    });
}

void shrinkLevel(PixelFormat format, const TextureLevel& source, const TextureLevel& target) {
    switch (format) {
    case PixelFormat::R8Unorm:
        return shrink<std::uint8_t, 1>(source, target);
    case PixelFormat::RG8Unorm:
        return shrink<std::uint8_t, 2>(source, target);
    case PixelFormat::RGBA8Unorm:
        return shrink<std::uint8_t, 4>(source, target);
    case PixelFormat::RGBA16Float:
        return shrink<_Float16, 4>(source, target);
    case PixelFormat::RGBA32Float:
        return shrink<float, 4>(source, target);
    }
}

} // namespace

void generateMipmaps(const TextureView& texture) {
    for (std::uint32_t level = 1; level < texture.levelCount; ++level)
        shrinkLevel(texture.format, texture.levels[level - 1], texture.levels[level]);
}

} // namespace compute::service
