// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Samplers: how a texture is filtered and continued beyond its edges. A constexpr sampler is a
// compile-time value, so that nothing of it is left in the code that samples.
#pragma once
#pragma clang system_header

#include <sl42_vector.h>

#pragma clang attribute push(__attribute__((always_inline)), apply_to = function)
#pragma clang attribute push(__attribute__((nodebug)), apply_to = hasType(functionType))

namespace metal {

enum class coord : uchar { normalized, pixel };
enum class filter : uchar { nearest, linear, bicubic };
enum class min_filter : uchar { nearest, linear, bicubic };
enum class mag_filter : uchar { nearest, linear, bicubic };
enum class mip_filter : uchar { none, nearest, linear };
enum class address : uchar {
    clamp_to_zero,
    clamp_to_edge,
    repeat,
    mirrored_repeat,
    clamp_to_border
};
enum class s_address : uchar {
    clamp_to_zero,
    clamp_to_edge,
    repeat,
    mirrored_repeat,
    clamp_to_border
};
enum class t_address : uchar {
    clamp_to_zero,
    clamp_to_edge,
    repeat,
    mirrored_repeat,
    clamp_to_border
};
enum class r_address : uchar {
    clamp_to_zero,
    clamp_to_edge,
    repeat,
    mirrored_repeat,
    clamp_to_border
};
enum class border_color : uchar { transparent_black, opaque_black, opaque_white };
enum class compare_func : uchar {
    never,
    less,
    less_equal,
    greater,
    greater_equal,
    equal,
    not_equal,
    always,
    none = never
};
enum class reduction : uchar { weighted_average, minimum, maximum };

struct max_anisotropy {
    constexpr explicit max_anisotropy(int ratio) : value(uchar(ratio)) {}
    uchar value;
};
struct lod_clamp {
    constexpr lod_clamp(float low, float high) : minimum(low), maximum(high) {}
    float minimum;
    float maximum;
};

/// Takes its settings in any order. Anisotropy and reduction are accepted and have no effect;
/// bicubic filtering is done as linear. The device fills those that are arguments and says so.
struct alignas(8) sampler {
    coord coordinates = coord::normalized;
    min_filter minFilter = min_filter::nearest;
    mag_filter magFilter = mag_filter::nearest;
    mip_filter mipFilter = mip_filter::none;
    address sAddress = address::clamp_to_edge;
    address tAddress = address::clamp_to_edge;
    address rAddress = address::clamp_to_edge;
    border_color border = border_color::transparent_black;
    float lodMinimum = 0;
    float lodMaximum = 1000;
    compare_func comparison = compare_func::never;
    bool isArgument = false;

    template <class... Settings>
    constexpr sampler(Settings... settings) {
        (set(settings), ...);
    }

private:
    constexpr void set(coord c) { coordinates = c; }
    constexpr void set(filter f) {
        minFilter = min_filter(f);
        magFilter = mag_filter(f);
    }
    constexpr void set(min_filter f) { minFilter = f; }
    constexpr void set(mag_filter f) { magFilter = f; }
    constexpr void set(mip_filter f) { mipFilter = f; }
    constexpr void set(address a) { sAddress = tAddress = rAddress = a; }
    constexpr void set(s_address a) { sAddress = address(a); }
    constexpr void set(t_address a) { tAddress = address(a); }
    constexpr void set(r_address a) { rAddress = address(a); }
    constexpr void set(border_color c) { border = c; }
    constexpr void set(compare_func f) { comparison = f; }
    constexpr void set(reduction) {}
    constexpr void set(max_anisotropy) {}
    constexpr void set(lod_clamp c) {
        lodMinimum = c.minimum;
        lodMaximum = c.maximum;
    }
    constexpr void set(const sampler& other) { *this = other; }
};

// How the level of detail of a sample is given.
struct level {
    constexpr explicit level(float l) : lod(l) {}
    float lod;
};
struct bias {
    constexpr explicit bias(float b) : value(b) {}
    float value;
};
struct gradient2d {
    constexpr gradient2d(const float2& x, const float2& y) : dPdx(x), dPdy(y) {}
    float2 dPdx;
    float2 dPdy;
};
struct gradient3d {
    constexpr gradient3d(const float3& x, const float3& y) : dPdx(x), dPdy(y) {}
    float3 dPdx;
    float3 dPdy;
};
/// Of the direction, which need not be of length 1.
struct gradientcube {
    constexpr gradientcube(const float3& x, const float3& y) : dPdx(x), dPdy(y) {}
    float3 dPdx;
    float3 dPdy;
};
struct min_lod_clamp {
    constexpr explicit min_lod_clamp(float l) : lod(l) {}
    float lod;
};

enum class component { x, y, z, w };
enum class access { sample, read, write, read_write };

} // namespace metal

#pragma clang attribute pop
#pragma clang attribute pop
