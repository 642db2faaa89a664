// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Sampling against an independent computation in double precision: a texel function with the
// addressing rules, interpolated by the definition.
#include <metal_stdlib>

#include "compute/backend/SamplerRecord.h"
#include "compute/backend/TextureView.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstring>
#include <vector>

namespace {

using metal::all;

using compute::PixelFormat;
using compute::TextureView;
using metal::address;

// The record that kernels see is the one that the device fills.
static_assert(sizeof(__sl42::textureView) == sizeof(TextureView));
static_assert(offsetof(__sl42::textureView, levels) == offsetof(TextureView, levels));
static_assert(offsetof(__sl42::textureLevel, bytesPerRow) ==
              offsetof(compute::TextureLevel, bytesPerRow));
static_assert(offsetof(__sl42::textureLevel, height) == offsetof(compute::TextureLevel, height));
static_assert(offsetof(__sl42::textureView, slices) == offsetof(TextureView, slices));
static_assert(offsetof(__sl42::textureSlices, bytesPerSlice) ==
              offsetof(compute::TextureSlices, bytesPerSlice));
static_assert(uint(__sl42::textureFormat::rgba32Sint) == uint(PixelFormat::RGBA32Sint));
static_assert(sizeof(metal::sampler) == sizeof(compute::SamplerRecord));
static_assert(offsetof(metal::sampler, border) == offsetof(compute::SamplerRecord, border));
static_assert(offsetof(metal::sampler, lodMaximum) == offsetof(compute::SamplerRecord, lodMaximum));
static_assert(offsetof(metal::sampler, comparison) == offsetof(compute::SamplerRecord, compare));

using Color = std::array<double, 4>;

int bytesOf(PixelFormat format) {
    constexpr int bytes[] = {1, 2, 4, 8, 16};
    return bytes[std::size_t(format)];
}

/// A mipmapped texture with arbitrary contents and padded rows.
class Image {
public:
    Image(PixelFormat format, int width, int height, int levels) {
        m_view.format = format;
        m_view.levelCount = std::uint32_t(levels);
        for (int l = 0; l < levels; ++l) {
            const int w = std::max(width >> l, 1);
            const int h = std::max(height >> l, 1);
            const std::size_t pitch = std::size_t(w * bytesOf(format)) + 16;
            m_pixels.emplace_back(pitch * std::size_t(h));
            for (std::size_t i = 0; i < m_pixels.back().size(); ++i)
                m_pixels.back()[i] = std::byte((i * 37 + i / 5 + std::size_t(l) * 91) % 251);
            m_view.levels[l] = {m_pixels.back().data(), std::uint32_t(w), std::uint32_t(h), pitch};
            if (format == PixelFormat::RGBA32Float || format == PixelFormat::RGBA16Float)
                fillWithNumbers(l);
        }
    }

    const TextureView& view() const { return m_view; }

    template <metal::access A = metal::access::sample, class T = float>
    metal::texture2d<T, A> texture() const {
        metal::texture2d<T, A> texture;
        texture.__view = reinterpret_cast<const __sl42::textureView*>(&m_view);
        return texture;
    }

    Color texel(int level, int x, int y) const {
        const auto& l = m_view.levels[level];
        const std::byte* p =
            l.pixels + std::size_t(y) * l.bytesPerRow + std::size_t(x * bytesOf(m_view.format));
        if (m_view.format == PixelFormat::RGBA16Float)
            return numbersAt<half>(p);
        if (m_view.format == PixelFormat::RGBA32Float)
            return numbersAt<float>(p);
        Color c = {0, 0, 0, 1};
        for (std::size_t i = 0; i < std::size_t(bytesOf(m_view.format)); ++i)
            c[i] = double(p[i]) / 255;
        return c;
    }

private:
    template <class T>
    static Color numbersAt(const std::byte* p) {
        T v[4];
        std::memcpy(v, p, sizeof v);
        return {double(v[0]), double(v[1]), double(v[2]), double(v[3])};
    }
    void fillWithNumbers(int level) {
        const auto& l = m_view.levels[level];
        for (std::uint32_t y = 0; y < l.height; ++y)
            for (std::uint32_t i = 0; i < l.width * 4; ++i) {
                const float v = float((i * 7 + y * 13 + std::uint32_t(level) * 5) % 31) / 31.0f;
                const half h(v);
                if (m_view.format == PixelFormat::RGBA32Float)
                    std::memcpy(l.pixels + y * l.bytesPerRow + i * 4, &v, 4);
                else
                    std::memcpy(l.pixels + y * l.bytesPerRow + i * 2, &h, 2);
            }
    }

    TextureView m_view;
    std::vector<std::vector<std::byte>> m_pixels;
};

/// Index of the texel that stands at place i of an endless axis; -1 for none.
int addressed(int i, int size, address mode) {
    switch (mode) {
    case address::clamp_to_zero:
    case address::clamp_to_border:
        return i < 0 || i >= size ? -1 : i;
    case address::clamp_to_edge:
        return std::min(std::max(i, 0), size - 1);
    case address::repeat:
        return ((i % size) + size) % size;
    case address::mirrored_repeat: {
        const int m = ((i % (2 * size)) + 2 * size) % (2 * size);
        return m < size ? m : 2 * size - 1 - m;
    }
    }
    return -1;
}

Color texelAt(const Image& image, int level, int x, int y, address mode) {
    const auto& l = image.view().levels[level];
    const int ax = addressed(x, int(l.width), mode);
    const int ay = addressed(y, int(l.height), mode);
    const bool hasAlpha =
        image.view().format != PixelFormat::R8Unorm && image.view().format != PixelFormat::RG8Unorm;
    return ax < 0 || ay < 0 ? Color{0, 0, 0, hasAlpha ? 0.0 : 1.0} : image.texel(level, ax, ay);
}

Color blend(const Color& a, const Color& b, double t) {
    Color c;
    for (std::size_t i = 0; i < 4; ++i)
        c[i] = a[i] * (1 - t) + b[i] * t;
    return c;
}

Color linearAt(const Image& image, int level, double u, double v, address mode) {
    const auto& l = image.view().levels[level];
    const double x = u * l.width - 0.5;
    const double y = v * l.height - 0.5;
    const int x0 = int(std::floor(x));
    const int y0 = int(std::floor(y));
    const Color top =
        blend(texelAt(image, level, x0, y0, mode), texelAt(image, level, x0 + 1, y0, mode), x - x0);
    const Color bottom = blend(texelAt(image, level, x0, y0 + 1, mode),
                               texelAt(image, level, x0 + 1, y0 + 1, mode), x - x0);
    return blend(top, bottom, y - y0);
}

Color nearestAt(const Image& image, int level, double u, double v, address mode) {
    const auto& l = image.view().levels[level];
    return texelAt(image, level, int(std::floor(u * l.width)), int(std::floor(v * l.height)), mode);
}

void expectNear(const float4& actual, const Color& expected, double tolerance, double u, double v) {
    const double lanes[4] = {actual.x, actual.y, actual.z, actual.w};
    for (std::size_t i = 0; i < 4; ++i)
        ASSERT_NEAR(lanes[i], expected[i], tolerance)
            << "channel " << i << " at " << u << ", " << v;
}

TEST(Sampling, MatchesTheDefinition) {
    const std::pair<PixelFormat, address> rows[] = {
        {PixelFormat::R8Unorm, address::clamp_to_zero},
        {PixelFormat::RG8Unorm, address::clamp_to_edge},
        {PixelFormat::RGBA8Unorm, address::clamp_to_zero},
        {PixelFormat::RGBA8Unorm, address::clamp_to_edge},
        {PixelFormat::RGBA8Unorm, address::repeat},
        {PixelFormat::RGBA8Unorm, address::mirrored_repeat},
        {PixelFormat::RGBA16Float, address::repeat},
        {PixelFormat::RGBA32Float, address::clamp_to_zero}};
    for (const auto& [format, mode] : rows) {
        SCOPED_TRACE(testing::Message() << "format " << int(format) << ", mode " << int(mode));
        const Image image(format, 13, 9, 4);
        const auto texture = image.texture();
        const metal::sampler linear(metal::filter::linear, mode);
        const metal::sampler mipmapped(metal::filter::linear, metal::mip_filter::linear, mode);
        const metal::sampler nearest(metal::filter::nearest, metal::mip_filter::nearest, mode);
        for (double v = -1.31; v < 2.3; v += 0.0837)
            for (double u = -1.27; u < 2.3; u += 0.0741) {
                const float2 uv = {float(u), float(v)};
                // Half a unit of eight bits is far more than the rounding of coordinates costs.
                expectNear(texture.sample(linear, uv), linearAt(image, 0, u, v, mode), 1e-4, u, v);
                expectNear(
                    texture.sample(mipmapped, uv, metal::level(1.3f)),
                    blend(linearAt(image, 1, u, v, mode), linearAt(image, 2, u, v, mode), 0.3),
                    1e-4, u, v);
                expectNear(texture.sample(nearest, uv, metal::level(1.6f)),
                           nearestAt(image, 2, u, v, mode), 1e-6, u, v);
            }
    }
}

TEST(Sampling, LevelsAreClampedAndChosen) {
    const Image image(PixelFormat::RGBA8Unorm, 16, 16, 3);
    const auto texture = image.texture();
    constexpr metal::sampler mipmapped(metal::filter::linear, metal::mip_filter::linear);
    constexpr metal::sampler flat(metal::filter::linear);
    constexpr metal::sampler coarse(metal::filter::linear, metal::mip_filter::linear,
                                    metal::lod_clamp(1.0f, 1.0f));
    const float2 uv = {0.37f, 0.61f};
    const metal::gradient2d fourTexels(float2(0.25f, 0), float2(0, 0.1f));
    const std::pair<float4, int> cases[] = {{texture.sample(mipmapped, uv, metal::level(99)), 2},
                                            {texture.sample(mipmapped, uv, metal::level(NAN)), 0},
                                            {texture.sample(mipmapped, uv, metal::level(-3)), 0},
                                            {texture.sample(flat, uv, metal::level(2)), 0},
                                            {texture.sample(coarse, uv), 1},
                                            {texture.sample(mipmapped, uv, metal::bias(1)), 1},
                                            {texture.sample(mipmapped, uv, fourTexels), 2}};
    for (const auto& [sampled, level] : cases)
        expectNear(sampled, linearAt(image, level, 0.37f, 0.61f, address::clamp_to_edge), 1e-5, 0,
                   level);
}

TEST(Sampling, PixelCoordinatesOffsetsAndBorders) {
    const Image image(PixelFormat::RGBA8Unorm, 8, 8, 1);
    const auto texture = image.texture();
    constexpr metal::sampler pixels(metal::coord::pixel, metal::filter::nearest);
    constexpr metal::sampler repeating(metal::address::repeat);
    constexpr metal::sampler white(metal::address::clamp_to_border,
                                   metal::border_color::opaque_white);
    constexpr metal::sampler mixed(metal::s_address::repeat, metal::t_address::clamp_to_zero);
    const Color gathered{image.texel(0, 3, 4)[1], image.texel(0, 4, 4)[1], image.texel(0, 4, 3)[1],
                         image.texel(0, 3, 3)[1]};
    const std::pair<float4, Color> cases[] = {
        {texture.sample(pixels, {3.5f, 2.5f}), image.texel(0, 3, 2)},
        {texture.sample(pixels, {3.5f, 2.5f}, int2(-1, 2)), image.texel(0, 2, 4)},
        {texture.sample(repeating, {0.94f, 0.06f}, int2(1, -1)), image.texel(0, 0, 7)},
        {texture.sample(white, {-0.5f, 0.5f}), {1, 1, 1, 1}},
        {texture.sample(mixed, {1.06f, 0.06f}), image.texel(0, 0, 0)},
        {texture.sample(mixed, {0.06f, 1.06f}), {0, 0, 0, 0}},
        {texture.gather(pixels, {4, 4}, int2(0), metal::component::y), gathered}};
    for (const auto& [sampled, expected] : cases)
        expectNear(sampled, expected, 1e-6, 0, 0);
}

TEST(Sampling, NoCoordinateLeavesTheTexture) {
    const Image image(PixelFormat::RGBA8Unorm, 5, 3, 1);
    const auto texture = image.texture();
    const float wild[] = {NAN, INFINITY, -INFINITY, 1e30f, -1e30f, 0x1p31f, -0.0f, 1.0f};
    for (address mode : {address::clamp_to_zero, address::clamp_to_edge, address::repeat,
                         address::mirrored_repeat})
        for (float x : wild)
            for (float y : wild)
                for (metal::filter f : {metal::filter::linear, metal::filter::nearest}) {
                    const float4 c = texture.sample(metal::sampler(mode, f), {x, y});
                    EXPECT_TRUE(all(c >= -1e-3f && c <= 1.001f)) << x << " " << y;
                }
}

template <class T>
void checkWriting(PixelFormat format, double tolerance) {
    const Image image(format, 6, 4, 2);
    const auto texture = image.texture<metal::access::read_write, T>();
    const vec<T, 4> color(T(0.25f), T(1), T(0), T(0.5f));
    texture.write(color, uint2(3, 2));
    texture.write(color, ushort2(1, 1), 1);
    const Color stored = image.texel(0, 3, 2);
    // A half has eleven bits.
    expectNear(float4(texture.read(uint2(3, 2))), stored, sizeof(T) == 2 ? 0x1p-11 : 1e-6, 3, 2);
    EXPECT_NEAR(stored[0], 0.25, tolerance);
    EXPECT_NEAR(image.texel(1, 1, 1)[0], 0.25, tolerance);
    const Color neighbour = image.texel(0, 4, 2);
    texture.write(vec<T, 4>(T(1)), uint2(6, 0));
    texture.write(vec<T, 4>(T(1)), uint2(0, ~0u));
    texture.write(vec<T, 4>(T(1)), uint2(0, 0), 7);
    EXPECT_EQ(image.texel(0, 4, 2), neighbour);
    EXPECT_TRUE(all(texture.read(uint2(6, 0)) == vec<T, 4>(T(0))));
    EXPECT_TRUE(all(texture.read(uint2(0, 0), 7) == vec<T, 4>(T(0))));
}

TEST(Texture, WritesWhatItReads) {
    checkWriting<float>(PixelFormat::R8Unorm, 0.5 / 255);
    checkWriting<half>(PixelFormat::RG8Unorm, 0.5 / 255);
    checkWriting<float>(PixelFormat::RGBA8Unorm, 0.5 / 255);
    checkWriting<half>(PixelFormat::RGBA16Float, 0);
    checkWriting<float>(PixelFormat::RGBA32Float, 0);
}

TEST(Texture, ReportsItsSizeAndReadsAsZeroWhereThereIsNone) {
    const Image image(PixelFormat::RGBA8Unorm, 12, 5, 3);
    const auto texture = image.texture();
    EXPECT_TRUE(texture.get_width() == 12 && texture.get_height(1) == 2);
    EXPECT_TRUE(texture.get_width(3) == 0 && texture.get_num_mip_levels() == 3);

    constexpr metal::sampler coarse(metal::lod_clamp(1.5f, 9.0f));
    EXPECT_EQ(texture.calculate_clamped_lod(coarse, float2(0.5f)), 1.5f);
    constexpr metal::sampler coarsest(metal::lod_clamp(7.0f, 9.0f));
    EXPECT_EQ(texture.calculate_clamped_lod(coarsest, float2(0.5f)), 2.0f);

    const metal::texture2d<float, metal::access::sample> none = {};
    const metal::texture2d<float, metal::access::write> nowhere = {};
    constexpr metal::sampler s;
    EXPECT_TRUE(all(none.sample(s, float2(0.5f)) == 0) && all(none.read(uint2(0)) == 0));
    EXPECT_TRUE(all(none.sample(s, float2(0.5f), metal::gradient2d(1, 1)) == 0));
    EXPECT_EQ(none.get_width(), 0u);
    EXPECT_TRUE(is_null_texture(none));
    nowhere.write(float4(1), uint2(0));
}

} // namespace
