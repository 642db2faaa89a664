// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Textures in memory and the access to single texels. The format is tested once for each access
// from outside, so the code here is made for one format at a time and only handles the channels it
// has.
#pragma once
#pragma clang system_header

#include <metal_common>
#include <sl42_bits.h>

#pragma clang attribute push(__attribute__((always_inline)), apply_to = function)
#pragma clang attribute push(__attribute__((nodebug)), apply_to = hasType(functionType))

namespace __sl42 {

enum class textureFormat : uint {
    r8,
    rg8,
    rgba8,
    rgba16Float,
    rgba32Float,
    depth32Float,
    r8Uint,
    rgba8Uint,
    r32Uint,
    r32Sint,
    rgba32Uint,
    rgba32Sint
};

struct textureLevel {
    uchar* pixels;
    uint width;
    uint height;
    ulong bytesPerRow;
};
/// The images of a level: the planes of a 3D texture, the elements of an array, the faces of cubes
/// or the samples of pixels. The level itself describes the first of them.
struct textureSlices {
    uint count;
    ulong bytesPerSlice;
};
/// What a texture argument points to; filled by the device.
struct textureView {
    textureFormat format;
    uint levelCount; // zero where no texture is bound; every level is then one texel
    textureLevel levels[16];
    uint arrayLength; // a cube counts as one
    uint samples;
    textureSlices slices[16];
};
static_assert(sizeof(textureLevel) == 24 && sizeof(textureSlices) == 16 &&
              sizeof(textureView) == 16 + (24 + 16) * 16);

/// A slice as an image of its own.
inline textureLevel sliceOf(const textureView* view, uint level, uint slice) {
    const textureLevel& l = view->levels[level];
    return {l.pixels + slice * view->slices[level].bytesPerSlice, l.width, l.height, l.bytesPerRow};
}

inline uchar* texelAddress(const textureLevel& l, int x, int y, uint bytes) {
    return l.pixels + (ulong(uint(y)) * l.bytesPerRow + uint(x) * bytes);
}
template <class Memory>
Memory& texelIn(const textureLevel& l, int x, int y) {
    return *reinterpret_cast<Memory*>(texelAddress(l, x, y, sizeof(Memory)));
}
struct twoWords {
    uint low;
    uint high;
};

/// Loads and stores texels of one format as `Texel` values, which are `scale` times the colour.
/// Channels that the format lacks read as 0, alpha as 1.
template <textureFormat format>
struct texels;

template <>
struct texels<textureFormat::r8> {
    using Texel = float;
    static constexpr float scale = 255.0f;
    static float load(const textureLevel& l, int x, int y) {
        return float(int(texelIn<uchar>(l, x, y)));
    }
    static float4 color(float t) { return {t * (1.0f / scale), 0.0f, 0.0f, 1.0f}; }
    static void store(const textureLevel& l, int x, int y, const float4& c) {
        texelIn<uchar>(l, x, y) = uchar(metal::saturate(c.x) * scale + 0.5f);
    }
};

template <>
struct texels<textureFormat::rg8> {
    using Texel = float2;
    static constexpr float scale = 255.0f;
    static float2 load(const textureLevel& l, int x, int y) {
        const int bits = texelIn<ushort>(l, x, y);
        return {float(bits & 0xff), float(bits >> 8)};
    }
    static float4 color(const float2& t) {
        return {t.x * (1.0f / scale), t.y * (1.0f / scale), 0.0f, 1.0f};
    }
    static void store(const textureLevel& l, int x, int y, const float4& c) {
        const float2 v = metal::saturate(c.xy) * scale + 0.5f;
        texelIn<ushort>(l, x, y) = ushort(uint(v.x) | uint(v.y) << 8);
    }
};

template <>
struct texels<textureFormat::rgba8> {
    using Texel = float4;
    static constexpr float scale = 255.0f;
    static float4 load(const textureLevel& l, int x, int y) {
        const int bits = texelIn<int>(l, x, y);
        return {float(bits & 0xff), float((bits >> 8) & 0xff), float((bits >> 16) & 0xff),
                float((bits >> 24) & 0xff)};
    }
    static float4 color(const float4& t) { return t * (1.0f / scale); }
    static void store(const textureLevel& l, int x, int y, const float4& c) {
        const float4 v = metal::saturate(c) * scale + 0.5f;
        texelIn<uint>(l, x, y) = uint(v.x) | uint(v.y) << 8 | uint(v.z) << 16 | uint(v.w) << 24;
    }
};

template <>
struct texels<textureFormat::rgba16Float> {
    using Texel = float4;
    static float4 load(const textureLevel& l, int x, int y) {
        const twoWords bits = texelIn<twoWords>(l, x, y);
        return {halfBits(bits.low), halfBits(bits.low >> 16), halfBits(bits.high),
                halfBits(bits.high >> 16)};
    }
    static float4 color(const float4& t) { return t; }
    static void store(const textureLevel& l, int x, int y, const float4& c) {
        texelIn<twoWords>(l, x, y) = {bitsOf(half(c.x)) | uint(bitsOf(half(c.y))) << 16,
                                      bitsOf(half(c.z)) | uint(bitsOf(half(c.w))) << 16};
    }

private:
    static float halfBits(uint bits) { return float(as_type<half>(ushort(bits))); }
};

template <>
struct texels<textureFormat::rgba32Float> {
    using Texel = float4;
    static float4 load(const textureLevel& l, int x, int y) { return texelIn<float4>(l, x, y); }
    static float4 color(const float4& t) { return t; }
    static void store(const textureLevel& l, int x, int y, const float4& c) {
        texelIn<float4>(l, x, y) = c;
    }
};

// Integers, as their bits: what the format lacks is 0, alpha 1.
inline uint4 integerTexel(const textureView* view, const textureLevel& l, int x, int y) {
    switch (view->format) {
    case textureFormat::r8Uint:
        return {uint(texelIn<uchar>(l, x, y)), 0u, 0u, 1u};
    case textureFormat::rgba8Uint: {
        const uint bits = texelIn<uint>(l, x, y);
        return {bits & 0xff, (bits >> 8) & 0xff, (bits >> 16) & 0xff, bits >> 24};
    }
    case textureFormat::r32Uint:
    case textureFormat::r32Sint:
        return {texelIn<uint>(l, x, y), 0u, 0u, 1u};
    case textureFormat::rgba32Uint:
    case textureFormat::rgba32Sint:
        return texelIn<uint4>(l, x, y);
    default:
        return uint4(0);
    }
}
inline void storeInteger(const textureView* view, const textureLevel& l, int x, int y,
                         const uint4& c) {
    switch (view->format) {
    case textureFormat::r8Uint:
        texelIn<uchar>(l, x, y) = uchar(metal::min(c.x, 255u));
        return;
    case textureFormat::rgba8Uint: {
        const uint4 v = metal::min(c, uint4(255));
        texelIn<uint>(l, x, y) = v.x | v.y << 8 | v.z << 16 | v.w << 24;
        return;
    }
    case textureFormat::r32Uint:
    case textureFormat::r32Sint:
        texelIn<uint>(l, x, y) = c.x;
        return;
    case textureFormat::rgba32Uint:
    case textureFormat::rgba32Sint:
        texelIn<uint4>(l, x, y) = c;
        return;
    default:
        return;
    }
}
inline bool holdsWords(const textureView* view) {
    return view->format == textureFormat::r32Uint || view->format == textureFormat::r32Sint;
}

inline float depthTexel(const textureView* view, const textureLevel& l, int x, int y) {
    return view->format == textureFormat::depth32Float ? texelIn<float>(l, x, y) : 0.0f;
}

} // namespace __sl42

#pragma clang attribute pop
#pragma clang attribute pop
