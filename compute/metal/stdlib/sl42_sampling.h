// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Filtered and unfiltered access to a texture: choice of the level, addressing, interpolation. A
// texture that is not bound reads as 0 everywhere and ignores writes.
#pragma once
#pragma clang system_header

#include <metal_geometric>
#include <metal_math>
#include <sl42_sampler.h>
#include <sl42_texel.h>

#pragma clang attribute push(__attribute__((always_inline)), apply_to = function)
#pragma clang attribute push(__attribute__((nodebug)), apply_to = hasType(functionType))

namespace __sl42 {

/// The statement with F as the texels of the format at hand; it returns.
#define SL42_FOR_FORMAT(view, statement)                                                           \
    switch ((view)->format) {                                                                      \
    case textureFormat::r8: {                                                                      \
        using F = texels<textureFormat::r8>;                                                       \
        statement                                                                                  \
    }                                                                                              \
    case textureFormat::rg8: {                                                                     \
        using F = texels<textureFormat::rg8>;                                                      \
        statement                                                                                  \
    }                                                                                              \
    case textureFormat::rgba8: {                                                                   \
        using F = texels<textureFormat::rgba8>;                                                    \
        statement                                                                                  \
    }                                                                                              \
    case textureFormat::rgba16Float: {                                                             \
        using F = texels<textureFormat::rgba16Float>;                                              \
        statement                                                                                  \
    }                                                                                              \
    case textureFormat::rgba32Float: {                                                             \
        using F = texels<textureFormat::rgba32Float>;                                              \
        statement                                                                                  \
    }                                                                                              \
    }

constexpr bool hasBorder(metal::address a) {
    return a == metal::address::clamp_to_zero || a == metal::address::clamp_to_border;
}

/// One coordinate in texels, moved into the texture where the mode repeats it. The result is within
/// a few texels of [0, size], also for infinite and NaN coordinates.
constexpr float inTexels(float c, float size, metal::coord kind, metal::address mode) {
    if (kind == metal::coord::normalized) {
        if (mode == metal::address::repeat)
            c = c - metal::floor(c);
        if (mode == metal::address::mirrored_repeat) {
            c = c - 2.0f * metal::floor(0.5f * c);
            c = metal::fmin(c, 2.0f - c);
        }
        c *= size;
    }
    return metal::fmin(metal::fmax(c, -2.0f), size + 2.0f);
}

/// A texel index on one axis: brought into the texture, and whether it was there.
struct texelIndex {
    int at;
    bool inside;
};
constexpr texelIndex addressed(int i, int size, metal::address mode) {
    if (mode == metal::address::repeat) {
        i = i < 0 ? i + size : i;
        i = i >= size ? i - size : i;
    }
    const int clamped = metal::min(metal::max(i, 0), size - 1);
    return {clamped, !hasBorder(mode) || clamped == i};
}

constexpr float4 borderColor(const metal::sampler& s) {
    if (s.sAddress != metal::address::clamp_to_border &&
        s.tAddress != metal::address::clamp_to_border)
        return float4(0.0f);
    switch (s.border) {
    case metal::border_color::transparent_black:
        return float4(0.0f);
    case metal::border_color::opaque_black:
        return {0.0f, 0.0f, 0.0f, 1.0f};
    case metal::border_color::opaque_white:
        return float4(1.0f);
    }
}

/// Where the four texels around a point are, and the point's position between them.
struct footprint {
    texelIndex left, right, top, bottom;
    float fx, fy;
};
inline footprint footprintAt(const textureLevel& l, const metal::sampler& s, const float2& p) {
    const float x = p.x - 0.5f;
    const float y = p.y - 0.5f;
    const float x0 = metal::floor(x);
    const float y0 = metal::floor(y);
    return {addressed(int(x0), int(l.width), s.sAddress),
            addressed(int(x0) + 1, int(l.width), s.sAddress),
            addressed(int(y0), int(l.height), s.tAddress),
            addressed(int(y0) + 1, int(l.height), s.tAddress),
            x - x0,
            y - y0};
}

/// What a texel of a format is multiplied by to keep its loading and filtering simple.
inline float rawScale(textureFormat format) {
    return format == textureFormat::rgba16Float || format == textureFormat::rgba32Float ? 1.0f
                                                                                        : 255.0f;
}
/// The border as a texel of the texture: with the channels that the format has.
inline float4 rawBorder(const textureView* view, const metal::sampler& s) {
    const float4 c = borderColor(s) * rawScale(view->format);
    if (view->format == textureFormat::r8)
        return {c.x, 0.0f, 0.0f, 255.0f};
    return view->format == textureFormat::rg8 ? float4(c.x, c.y, 0.0f, 255.0f) : c;
}
/// A texel of any format, `rawScale` times the colour. The format is tested here and not once
/// around the filter, because a program with much text would take long to compile if it had the
/// filter five times for each sample.
inline float4 rawTexel(const textureView* view, const textureLevel& l, int x, int y) {
    switch (view->format) {
    case textureFormat::r8:
        return {texels<textureFormat::r8>::load(l, x, y), 0.0f, 0.0f, 255.0f};
    case textureFormat::rg8:
        return float4(texels<textureFormat::rg8>::load(l, x, y), 0.0f, 255.0f);
    case textureFormat::rgba8:
        return texels<textureFormat::rgba8>::load(l, x, y);
    case textureFormat::rgba16Float:
        return texels<textureFormat::rgba16Float>::load(l, x, y);
    case textureFormat::rgba32Float:
        return texels<textureFormat::rgba32Float>::load(l, x, y);
    }
    return float4(0.0f);
}
inline float4 rawTexelOrBorder(const textureView* view, const textureLevel& l, texelIndex x,
                               texelIndex y, const float4& border) {
    const float4 texel = rawTexel(view, l, x.at, y.at);
    return x.inside & y.inside ? texel : border;
}

/// Goes row by row through one loop, which halves the code again. The first row counts whole, the
/// second one by its share.
inline float4 linearAt(const textureView* view, const textureLevel& l, const metal::sampler& s,
                       const float2& p) {
    const footprint f = footprintAt(l, s, p);
    const float4 border = rawBorder(view, s);
    float4 sum(0.0f);
    float weight = 1.0f;
    texelIndex row = f.top;
#pragma clang loop unroll(disable)
    for (int i = 0; i < 2; ++i) {
        const float4 left = rawTexelOrBorder(view, l, f.left, row, border);
        const float4 right = rawTexelOrBorder(view, l, f.right, row, border);
        sum += (left + (right - left) * f.fx - sum) * weight;
        weight = f.fy;
        row = f.bottom;
    }
    return sum * (1.0f / rawScale(view->format));
}
inline float4 nearestAt(const textureView* view, const textureLevel& l, const metal::sampler& s,
                        const float2& p) {
    const texelIndex x = addressed(int(metal::floor(p.x)), int(l.width), s.sAddress);
    const texelIndex y = addressed(int(metal::floor(p.y)), int(l.height), s.tAddress);
    return rawTexelOrBorder(view, l, x, y, rawBorder(view, s)) * (1.0f / rawScale(view->format));
}

/// Pixel coordinates count texels of level 0.
inline float2 pointIn(const textureView* view, const textureLevel& l, const metal::sampler& s,
                      const float2& c, const int2& offset) {
    const float2 size(float(int(l.width)), float(int(l.height)));
    float2 p = c;
    if (s.coordinates == metal::coord::pixel)
        p = p *
            (size / float2(float(int(view->levels[0].width)), float(int(view->levels[0].height))));
    const float2 step = s.coordinates == metal::coord::pixel ? float2(1.0f) : 1.0f / size;
    if (offset.x != 0 || offset.y != 0)
        p += float2(offset) * step;
    return {inTexels(p.x, size.x, s.coordinates, s.sAddress),
            inTexels(p.y, size.y, s.coordinates, s.tAddress)};
}

inline float4 sampleLevel(const textureView* view, const metal::sampler& s, uint level, bool linear,
                          const float2& c, const int2& offset) {
    const textureLevel& l = view->levels[level];
    const float2 p = pointIn(view, l, s, c, offset);
    return linear ? linearAt(view, l, s, p) : nearestAt(view, l, s, p);
}

/// The sample between two levels goes through one loop, which halves the code of each format.
inline float4 sampleAt(const textureView* view, const metal::sampler& s, const float2& c, float lod,
                       const int2& offset) {
    if (view == nullptr)
        return float4(0.0f);
    lod = metal::fmin(metal::fmax(lod, s.lodMinimum), s.lodMaximum);
    const bool linear = lod > 0.0f ? s.minFilter != metal::min_filter::nearest
                                   : s.magFilter != metal::mag_filter::nearest;
    if (s.mipFilter == metal::mip_filter::none)
        return sampleLevel(view, s, 0, linear, c, offset);
    const int last = metal::min(int(view->levelCount), 16) - 1;
    lod = metal::fmin(metal::fmax(lod, 0.0f), float(last));
    if (s.mipFilter == metal::mip_filter::nearest)
        return sampleLevel(view, s, metal::min(int(lod + 0.5f), last), linear, c, offset);
    const int finer = metal::min(int(lod), last);
    const float fraction = lod - float(finer);
    float4 sum(0.0f);
    float weight = 1.0f - fraction;
#pragma clang loop unroll(disable)
    for (int level = finer; level <= last && weight > 0.0f && level <= finer + 1; ++level) {
        sum += sampleLevel(view, s, level, linear, c, offset) * weight;
        weight = fraction;
    }
    return sum;
}

/// The finest level that the sampler admits.
inline float4 sampleAt(const textureView* view, const metal::sampler& s, const float2& c,
                       const int2& offset) {
    if (s.lodMinimum > 0.0f)
        return sampleAt(view, s, c, 0.0f, offset);
    if (view == nullptr)
        return float4(0.0f);
    return sampleLevel(view, s, 0, s.magFilter != metal::mag_filter::nearest, c, offset);
}

/// The level at which the longer of the two steps is one texel.
inline float lodOf(const textureView* view, const metal::sampler& s, const metal::gradient2d& g) {
    if (view == nullptr)
        return 0.0f;
    const float2 size =
        s.coordinates == metal::coord::pixel
            ? float2(1.0f)
            : float2(float(int(view->levels[0].width)), float(int(view->levels[0].height)));
    const float2 dx = g.dPdx * size;
    const float2 dy = g.dPdy * size;
    return 0.5f * metal::log2(metal::fmax(metal::dot(dx, dx), metal::dot(dy, dy)));
}

inline float channel(const float4& c, metal::component which) {
    switch (which) {
    case metal::component::x:
        return c.x;
    case metal::component::y:
        return c.y;
    case metal::component::z:
        return c.z;
    case metal::component::w:
        return c.w;
    }
}

/// One component of the four texels that a linear filter would use, counter-clockwise from below on
/// the left.
inline float4 gatherAt(const textureView* view, const metal::sampler& s, const float2& c,
                       const int2& offset, metal::component which) {
    if (view == nullptr)
        return float4(0.0f);
    const textureLevel& l = view->levels[0];
    const float2 p = pointIn(view, l, s, c, offset);
    const footprint f = footprintAt(l, s, p);
    const float4 border = rawBorder(view, s);
    return float4(channel(rawTexelOrBorder(view, l, f.left, f.bottom, border), which),
                  channel(rawTexelOrBorder(view, l, f.right, f.bottom, border), which),
                  channel(rawTexelOrBorder(view, l, f.right, f.top, border), which),
                  channel(rawTexelOrBorder(view, l, f.left, f.top, border), which)) *
           (1.0f / rawScale(view->format));
}

inline bool contains(const textureView* view, uint x, uint y, uint lod) {
    return view != nullptr && lod < view->levelCount && x < view->levels[lod & 15].width &&
           y < view->levels[lod & 15].height;
}
inline float4 readAt(const textureView* view, uint x, uint y, uint lod) {
    if (!contains(view, x, y, lod))
        return float4(0.0f);
    const textureLevel& l = view->levels[lod & 15];
    SL42_FOR_FORMAT(view, return F::color(F::load(l, int(x), int(y)));)
    return float4(0.0f);
}
inline void writeAt(const textureView* view, const float4& color, uint x, uint y, uint lod) {
    if (!contains(view, x, y, lod))
        return;
    const textureLevel& l = view->levels[lod & 15];
    SL42_FOR_FORMAT(view, F::store(l, int(x), int(y), color); return;)
}

#undef SL42_FOR_FORMAT

} // namespace __sl42

#pragma clang attribute pop
#pragma clang attribute pop
