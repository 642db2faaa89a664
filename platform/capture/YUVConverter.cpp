// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/capture/YUVConverter.h"

#include <libyuv/convert_from_argb.h>
#include <libyuv/scale.h>

#include <utility>

namespace platform {
namespace {

/// One of the planes, as the library takes them.
struct Plane {
    std::uint8_t* bytes = nullptr;
    std::size_t bytesPerRow = 0;
    std::uint32_t width = 0;
    std::uint32_t height = 0;

    int stride() const { return static_cast<int>(bytesPerRow); }
};

std::uint8_t* raw(std::byte* bytes) {
    return reinterpret_cast<std::uint8_t*>(bytes);
}

void scale(const Plane& from, const Plane& to) {
    libyuv::ScalePlane(from.bytes, from.stride(), static_cast<int>(from.width),
                       static_cast<int>(from.height), to.bytes, to.stride(),
                       static_cast<int>(to.width), static_cast<int>(to.height), libyuv::kFilterBox);
}

/// Two planes in one piece of memory, which grows when it has to.
std::pair<Plane, Plane> planesIn(std::vector<std::byte>& memory, std::uint32_t width,
                                 std::uint32_t height) {
    const std::size_t length = std::size_t{width} * height;
    if (memory.size() < 2 * length)
        memory.resize(2 * length);
    return {{raw(memory.data()), width, width, height},
            {raw(memory.data() + length), width, width, height}};
}

// The library's chroma runs from -0.5 to 0.5 over the whole byte, with divisors of 1.772 for U and
// 1.402 for V: 2.3 % more than 1.732 and 1.371.
std::byte displayed(std::uint8_t chroma) {
    constexpr unsigned factor = 131; // 0.5 * 1.023 * 256
    constexpr unsigned offset = (255 * 256) / 2 + 128 - 128 * factor;
    return static_cast<std::byte>((chroma * factor + offset) / 256);
}

void interleave(const Plane& u, const Plane& v, const YUVPlanes& planes) {
    for (std::uint32_t y = 0; y < u.height; ++y) {
        const std::uint8_t* uRow = u.bytes + y * u.bytesPerRow;
        const std::uint8_t* vRow = v.bytes + y * v.bytesPerRow;
        std::byte* to = planes.chroma.data() + y * planes.chromaBytesPerRow;
        for (std::uint32_t x = 0; x < u.width; ++x) {
            to[std::size_t{2} * x] = displayed(uRow[x]);
            to[std::size_t{2} * x + 1] = displayed(vRow[x]);
        }
    }
}

} // namespace

void YUVConverter::convert(const CapturedPicture& picture, const YUVPlanes& planes) {
    const bool scales = picture.width != planes.width || picture.height != planes.height;
    const Plane target{raw(planes.luma.data()), planes.lumaBytesPerRow, planes.width,
                       planes.height};
    Plane luma = target;
    if (scales) {
        m_luma.resize(std::size_t{picture.width} * picture.height);
        luma = {raw(m_luma.data()), picture.width, picture.width, picture.height};
    }
    auto [u, v] = planesIn(m_chroma, chromaExtent(picture.width), chromaExtent(picture.height));
    libyuv::ARGBToJ420(reinterpret_cast<const std::uint8_t*>(picture.pixels.data()),
                       static_cast<int>(picture.bytesPerRow), luma.bytes, luma.stride(), u.bytes,
                       u.stride(), v.bytes, v.stride(), static_cast<int>(picture.width),
                       static_cast<int>(picture.height));
    if (scales) {
        scale(luma, target);
        const auto [scaledU, scaledV] =
            planesIn(m_scaledChroma, chromaExtent(planes.width), chromaExtent(planes.height));
        scale(std::exchange(u, scaledU), scaledU);
        scale(std::exchange(v, scaledV), scaledV);
    }
    interleave(u, v, planes);
}

} // namespace platform
