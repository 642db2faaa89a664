// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Image filters: samplers of all kinds, reads, writes, gathers, levels.
#include <metal_stdlib>
using namespace metal;

constexpr sampler linearSampler(coord::normalized, address::clamp_to_edge, filter::linear);
constexpr sampler mipSampler(filter::linear, mip_filter::linear, address::clamp_to_zero);

static float4 sampleTwice(texture2d<float> t, sampler s, float2 uv) {
    return t.sample(s, uv) + t.sample(s, uv.yx);
}
struct Textures {
    texture2d<float> color [[texture(0)]];
    texture2d<float> normal [[texture(1)]];
};

kernel void effects(texture2d<half> image [[texture(0)]],
                    texture2d<float, access::sample> mask [[texture(1)]],
                    texture2d<half, access::read_write> target [[texture(2)]],
                    texture2d<float, access::write> written [[texture(3)]],
                    constant float& time [[buffer(0)]], ushort2 gid [[thread_position_in_grid]],
                    uint2 size [[threads_per_grid]]) {
    if (gid.x >= target.get_width() || gid.y >= target.get_height())
        return;
    constexpr sampler nearest(filter::nearest);
    constexpr sampler tiled(s_address::repeat, t_address::mirrored_repeat, min_filter::linear,
                            mag_filter::nearest, mip_filter::nearest, max_anisotropy(4));
    constexpr sampler pixels(coord::pixel, address::clamp_to_edge, filter::linear);
    constexpr sampler shadow(compare_func::less, border_color::opaque_white,
                             address::clamp_to_border, lod_clamp(0.0f, 4.0f));
    float2 uv = (float2(gid) + 0.5) / float2(size);
    float2 texel = 1 / float2(image.get_width(), image.get_height());
    half4 c = image.sample(linearSampler, uv);
    c.rb = half2(image.sample(linearSampler, uv + float2(texel.x, 0) * 2).r, c.b);
    c += image.sample(tiled, uv * 3 + time, level(1.5)) + image.sample(tiled, uv, bias(1));
    c += image.sample(mipSampler, uv, gradient2d(float2(texel.x, 0), {0, texel.y}));
    c += image.sample(pixels, float2(gid), int2(1, -1)) + image.read(gid, 0);
    c += image.gather(nearest, uv) + image.gather(nearest, uv, int2(0), component::y);
    c += image.read(uint2(int2(gid) + int2(-1, 1)));
    float m = mask.sample(shadow, uv).x + mask.sample(mipSampler, uv, level(2)).a;
    c.rgb = mix(c.rgb, dot(c.rgb, half3(0.2126, 0.7152, 0.0722)), half(m));
    c = image.get_num_mip_levels() > 1 ? c : half4(0);
    if (!is_null_texture(image))
        target.write(c + target.read(gid), gid);
    written.write(float4(c), gid);
}

kernel void passed(texture2d<float> t [[texture(0)]], texture2d<float> other [[texture(1)]],
                   device float4* out [[buffer(0)]], uint id [[thread_position_in_grid]]) {
    array<texture2d<float>, 2> more = {t, other};
    Textures both = {t, more[1]};
    out[id] = sampleTwice(both.color, linearSampler, float2(0.5)) +
              sampleTwice(both.normal, sampler(filter::nearest), {0, 1});
}
