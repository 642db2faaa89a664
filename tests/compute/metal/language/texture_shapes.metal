// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Every class of textures, with the functions and the spellings of arguments that each has.
#include <metal_stdlib>
using namespace metal;

template <typename T>
vec<T, 4> everything(texture1d<T> a, texture1d_array<T> b, texture2d<T> c, texture2d_array<T> d,
                     texture3d<T> e, texturecube<T> f, texturecube_array<T> g, texture_buffer<T> h,
                     texture2d_ms<T> i, texture2d_ms_array<T> j, sampler s) {
    vec<T, 4> sum = a.sample(s, 0.5) + a.read(3) + a.read(ushort(2), 1);
    sum += b.sample(s, 0.5f, 2) + b.read(3, 1) + b.read(3u, 1u, 0u);
    sum += c.sample(s, float2(0.5)) + c.sample(s, {1, 2}, level(1), {1, -1}) + c.read(uint2(3, 1));
    sum += c.sample(s, {1, 2}, gradient2d(1, 2), min_lod_clamp(2)) + c.sample(s, 1, int2(1));
    sum += c.gather(s, float2(1)) + c.gather(s, float2(1), int2(0), component::y);
    sum += d.sample(s, float2(0.5), 3) + d.sample(s, {1, 2}, 1, gradient2d(1, 2), {1, -1});
    sum += d.read(ushort2(3, 1), 2) + d.gather(s, float2(1), 1) + d.sample(s, 1, 2, bias(0.5));
    sum += e.sample(s, float3(0.5)) + e.sample(s, {1, 2, 3}, gradient3d(1, 2), {1, -1, 0});
    sum += e.read(ushort3(3, 1, 1)) + e.read(uint3(1), 1) + T(e.get_depth(1));
    sum += f.sample(s, float3(0.5)) + f.sample(s, {1, 2, 3}, gradientcube(1, 2), min_lod_clamp(1));
    sum += f.read(ushort2(3, 1), 1) + f.gather(s, float3(1), component::z);
    sum += g.sample(s, float3(0.5), 3) + g.sample(s, {1, 2, 3}, 1, bias(2), min_lod_clamp(1));
    sum += g.read(ushort2(3, 1), 1, 3) + g.gather(s, float3(1), 1, component::w);
    sum += h.read(5) + T(h.get_width()) + i.read(uint2(1), 3) + j.read(uint2(1), 2, 3);
    return sum + T(j.get_array_size() + j.get_num_samples() + g.get_array_size());
}

kernel void colors(texture1d<float> a, texture1d_array<float> b, texture2d<float> c,
                   texture2d_array<float> d, texture3d<float> e, texturecube<float> f,
                   texturecube_array<float> g, texture_buffer<float> h, texture2d_ms<float> i,
                   texture2d_ms_array<float> j, sampler s, device float4* out) {
    out[0] = everything(a, b, c, d, e, f, g, h, i, j, s);
}
kernel void integers(texture1d<ushort> a, texture1d_array<ushort> b, texture2d<ushort> c,
                     texture2d_array<ushort> d, texture3d<ushort> e, texturecube<ushort> f,
                     texturecube_array<ushort> g, texture_buffer<ushort> h,
                     texture2d_ms<ushort> i, texture2d_ms_array<ushort> j, sampler s,
                     device ushort4* out) {
    out[0] = everything(a, b, c, d, e, f, g, h, i, j, s);
}

kernel void depths(depth2d<float> a [[texture(0)]], depth2d_array<float> b [[texture(1)]],
                   depthcube<float> c [[texture(2)]], depthcube_array<float> d [[texture(3)]],
                   depth2d_ms<float> e [[texture(4)]], sampler s [[sampler(0)]],
                   device float4* out [[buffer(0)]]) {
    out[0] = a.gather(s, float2(1)) + a.gather_compare(s, float2(1), 0.5, int2(1)) +
             b.gather(s, float2(1), 1) + b.gather_compare(s, float2(1), 1, 0.5f) +
             c.gather_compare(s, float3(1), 0.5f) + d.gather_compare(s, float3(1), 2, 0.5f);
    out[1].x = a.sample(s, float2(1)) + a.sample_compare(s, float2(1), 0.5f) + a.read(uint2(1)) +
               a.sample_compare(s, float2(1), 0.5f, level(1), int2(1)) + e.read(uint2(1), 2);
    out[1].y = b.sample_compare(s, float2(1), 1, 0.5f) + c.sample_compare(s, float3(1), 0.5f) +
               d.sample_compare(s, float3(1), 1, 0.5f, level(2));
    out[1].z = a.calculate_clamped_lod(s, float2(1)) + c.calculate_unclamped_lod(s, float3(1));
}

struct Material {
    texture2d<half> albedo [[id(0)]];
    array<texture2d<float>, 3> layers [[id(1)]];
    sampler filtering [[id(4)]];
    device float* weights [[id(5)]];
};
kernel void bound(array<texture2d<float>, 4> images [[texture(0)]],
                  array<sampler, 2> samplers [[sampler(0)]], constant Material& m [[buffer(1)]],
                  texture3d<float, access::write> target [[texture(4)]],
                  texture2d<uint, access::read_write> counts [[texture(5)]],
                  texture_buffer<int, access::read_write> list [[texture(6)]],
                  uint3 id [[thread_position_in_grid]]) {
    float4 sum = images[id.x % images.size()].sample(samplers[id.y & 1], float2(0.5));
    sum += float4(m.albedo.sample(m.filtering, float2(0.5))) * m.weights[id.x];
    if (!is_null_texture(m.layers[id.z]))
        sum += m.layers[id.z].read(id.xy);
    target.write(sum, id);
    uint4 before = counts.atomic_fetch_add(id.xy, uint4(1));
    while (!counts.atomic_compare_exchange_weak(id.xy, &before, before * 2)) {
    }
    counts.atomic_store(counts.atomic_load(uint2(0)), id.xy);
    list.atomic_fetch_max(id.x, int4(3));
    list.fence();
}
