// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What is done with texels, whatever the shape of the texture: which value a sample is made of, how
// the four around a point are blended, which level is taken. A texture that is not bound reads as 0
// everywhere. sl42_places.h says which texels there are around a place in a texture of each shape.
#pragma once
#pragma clang system_header

#include <metal_geometric>
#include <metal_math>
#include <sl42_sampler.h>
#include <sl42_texel.h>

#pragma clang attribute push(__attribute__((always_inline)), apply_to = function)
#pragma clang attribute push(__attribute__((nodebug)), apply_to = hasType(functionType))

namespace __sl42 {

constexpr bool hasBorder(metal::address a) {
    return a == metal::address::clamp_to_zero || a == metal::address::clamp_to_border;
}

/// One coordinate in texels, moved into the texture where the mode repeats it. The result is within
/// a few texels of [0, size], or of twice that where the texture is mirrored, also for infinite and
/// NaN coordinates.
constexpr float inTexels(float c, float size, metal::coord kind, metal::address mode) {
    if (kind == metal::coord::normalized) {
        if (mode == metal::address::repeat)
            c = c - metal::floor(c);
        if (mode == metal::address::mirrored_repeat)
            c = c - 2.0f * metal::floor(0.5f * c);
        c *= size;
    }
    const float end = mode == metal::address::mirrored_repeat ? 2.0f * size : size;
    return metal::fmin(metal::fmax(c, -2.0f), end + 2.0f);
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
    if (mode == metal::address::mirrored_repeat)
        i = i >= size ? 2 * size - 1 - i : i;
    const int clamped = metal::min(metal::max(i, 0), size - 1);
    return {clamped, !hasBorder(mode) || clamped == i};
}

constexpr float4 borderColor(const metal::sampler& s) {
    if (s.sAddress != metal::address::clamp_to_border &&
        s.tAddress != metal::address::clamp_to_border &&
        s.rAddress != metal::address::clamp_to_border)
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
/// `p` is a point in texels.
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
    default:
        return float4(0.0f);
    }
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

// What a sample is made of. A reader gives the value of a texel and of the border, says whether
// such values are blended, and makes the result of what was blended or gathered.

struct colorReader {
    using Value = float4;
    using Gathered = float4;
    static constexpr bool isBlended = true;

    float4 texel(const textureView* view, const textureLevel& l, int x, int y) const {
        return rawTexel(view, l, x, y);
    }
    float4 border(const textureView* view, const metal::sampler& s) const {
        return rawBorder(view, s);
    }
    static float4 finished(const textureView* view, const float4& value) {
        return value * (1.0f / rawScale(view->format));
    }
    static float picked(const float4& value, metal::component which) {
        return channel(value, which);
    }
};

struct depthReader {
    using Value = float;
    using Gathered = float4;
    static constexpr bool isBlended = true;

    float texel(const textureView* view, const textureLevel& l, int x, int y) const {
        return depthTexel(view, l, x, y);
    }
    float border(const textureView*, const metal::sampler& s) const { return borderColor(s).x; }
    template <class Value>
    static Value finished(const textureView*, const Value& value) {
        return value;
    }
    static float picked(float value, metal::component) { return value; }
};

/// Each texel counts as 1 where the comparison with the reference holds, as 0 where it does not.
struct comparisonReader : depthReader {
    float reference;
    metal::compare_func comparison;

    comparisonReader(float r, const metal::sampler& s) : reference(r), comparison(s.comparison) {}
    float texel(const textureView* view, const textureLevel& l, int x, int y) const {
        return compared(depthTexel(view, l, x, y));
    }
    float border(const textureView*, const metal::sampler& s) const {
        return compared(borderColor(s).x);
    }

private:
    float compared(float depth) const { return holds(depth) ? 1.0f : 0.0f; }
    bool holds(float depth) const {
        switch (comparison) {
        case metal::compare_func::never:
            return false;
        case metal::compare_func::less:
            return reference < depth;
        case metal::compare_func::less_equal:
            return reference <= depth;
        case metal::compare_func::greater:
            return reference > depth;
        case metal::compare_func::greater_equal:
            return reference >= depth;
        case metal::compare_func::equal:
            return reference == depth;
        case metal::compare_func::not_equal:
            return reference != depth;
        case metal::compare_func::always:
            return true;
        }
    }
};

/// Integers are never blended: the nearest one is taken, whatever the sampler's filter.
template <class T>
struct integerReader {
    using Value = metal::vec<T, 4>;
    using Gathered = metal::vec<T, 4>;
    static constexpr bool isBlended = false;

    Value texel(const textureView* view, const textureLevel& l, int x, int y) const {
        return Value(integerTexel(view, l, x, y));
    }
    Value border(const textureView*, const metal::sampler& s) const {
        return Value(int4(borderColor(s)));
    }
    static Value finished(const textureView*, const Value& value) { return value; }
    static T picked(const Value& value, metal::component which) { return value[int(which)]; }
};

/// The texels of an image, or the border around it. `isInside` is false where the whole image is
/// part of the border: beyond the ends of a 3D texture. Holds copies, no references: a kernel that
/// keeps addresses of its variables shares no functions (compute/kernel/sharing).
template <class Reader>
struct imageTexels {
    using Value = typename Reader::Value;

    Value operator()(texelIndex x, texelIndex y) const {
        const Value texel = reader.texel(view, level, x.at, y.at);
        return x.inside & y.inside & isInside ? texel : border;
    }

    Reader reader;
    const textureView* view;
    textureLevel level;
    Value border;
    bool isInside = true;
};

template <class Texels>
inline auto blendedRow(const Texels& texels, const footprint& f, texelIndex row) {
    const auto left = texels(f.left, row);
    const auto right = texels(f.right, row);
    return left + (right - left) * f.fx;
}

// What becomes of the texels around a point.

/// Goes row by row through one loop, which halves the code again. The first row counts whole, the
/// second one by its share.
struct blend {
    template <class Texels>
    auto operator()(const Texels& texels, const footprint& f) const {
        typename Texels::Value sum(0.0f);
        float weight = 1.0f;
        texelIndex row = f.top;
#pragma clang loop unroll(disable)
        for (int i = 0; i < 2; ++i) {
            sum += (blendedRow(texels, f, row) - sum) * weight;
            weight = f.fy;
            row = f.bottom;
        }
        return sum;
    }
};
/// One component of each, counter-clockwise from below on the left.
template <class Reader>
struct gatherComponent {
    metal::component which;

    template <class Texels>
    typename Reader::Gathered operator()(const Texels& texels, const footprint& f) const {
        return {Reader::picked(texels(f.left, f.bottom), which),
                Reader::picked(texels(f.right, f.bottom), which),
                Reader::picked(texels(f.right, f.top), which),
                Reader::picked(texels(f.left, f.top), which)};
    }
};

template <class Texels>
inline auto nearest(const Texels& texels, const textureLevel& l, const metal::sampler& s,
                    const float2& p) {
    const texelIndex x = addressed(int(metal::floor(p.x)), int(l.width), s.sAddress);
    const texelIndex y = addressed(int(metal::floor(p.y)), int(l.height), s.tAddress);
    return texels(x, y);
}

/// The sample between two levels goes through one loop, which halves the code of each format.
template <class Reader, class Place>
inline typename Reader::Value sampleAt(const Reader& reader, const textureView* view,
                                       const metal::sampler& s, const Place& place, float lod) {
    using Value = typename Reader::Value;
    if (view == nullptr)
        return Value(0);
    lod = metal::fmin(metal::fmax(lod, s.lodMinimum), s.lodMaximum);
    const bool linear = lod > 0.0f ? s.minFilter != metal::min_filter::nearest
                                   : s.magFilter != metal::mag_filter::nearest;
    const bool hasLevels = s.mipFilter != metal::mip_filter::none;
    const bool isBetween = s.mipFilter == metal::mip_filter::linear;
    const int last = int(metal::min(view->levelCount - 1u, 15u));
    lod = hasLevels ? metal::fmin(metal::fmax(lod, 0.0f), float(last)) : 0.0f;
    if constexpr (Reader::isBlended) {
        // One loop does for all that a sampler may be which nobody knows yet.
        if (isBetween || s.isArgument) {
            const int finer = metal::min(int(isBetween ? lod : lod + 0.5f), last);
            const float fraction = isBetween ? lod - float(finer) : 0.0f;
            Value sum(0);
            float weight = 1.0f - fraction;
#pragma clang loop unroll(disable)
            for (int level = finer; level <= last && weight > 0.0f && level <= finer + 1; ++level) {
                sum += place.sampled(reader, view, s, level, linear) * weight;
                weight = fraction;
            }
            return sum;
        }
    }
    return place.sampled(reader, view, s, hasLevels ? metal::min(int(lod + 0.5f), last) : 0,
                         linear);
}

/// The finest level that the sampler admits.
template <class Reader, class Place>
inline typename Reader::Value sampleAt(const Reader& reader, const textureView* view,
                                       const metal::sampler& s, const Place& place) {
    if (s.lodMinimum > 0.0f || s.isArgument)
        return sampleAt(reader, view, s, place, 0.0f);
    if (view == nullptr)
        return typename Reader::Value(0);
    return place.sampled(reader, view, s, 0, s.magFilter != metal::mag_filter::nearest);
}

template <class Reader, class Place>
inline typename Reader::Gathered gatherAt(const Reader& reader, const textureView* view,
                                          const metal::sampler& s, const Place& place,
                                          metal::component which = metal::component::x) {
    if (view == nullptr)
        return typename Reader::Gathered(0);
    return Reader::finished(
        view, place.withFootprint(reader, view, s, 0, gatherComponent<Reader>{which}));
}

} // namespace __sl42

#pragma clang attribute pop
#pragma clang attribute pop
