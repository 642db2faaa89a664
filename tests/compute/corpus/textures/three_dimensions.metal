// SPDX-License-Identifier: MIT
// A colour cube: trilinear samples of a three-dimensional texture, and its texels.
// grid 4x4x4 group 4x4x4
// texture 0: in 3d rgba32float 4x4x4 = (x * x, y * y, z * z, x + y + z)
// buffer 0: out float4[64] ~= trilinear(i % 4 * 0.9, i // 4 % 4 * 0.9, i // 16 * 0.9) within 5e-3
// buffer 1: out float4[64] == t0[i % 4, i // 4 % 4, i // 16, 0]
// python
// def trilinear(u, v, w):
//     def mix(a, b, t): return tuple(p + (q - p) * t for p, q in zip(a, b))
//     x, y, z = floor(u), floor(v), floor(w)
//     def t(dx, dy, dz): return t0[min(x + dx, 3), min(y + dy, 3), min(z + dz, 3), 0]
//     planes = [mix(mix(t(0, 0, d), t(1, 0, d), u - x), mix(t(0, 1, d), t(1, 1, d), u - x), v - y) for d in (0, 1)]
//     return mix(*planes, w - z)
// end
#include <metal_stdlib>
using namespace metal;

kernel void cube(texture3d<float> volume [[texture(0)]], device float4* a [[buffer(0)]],
                 device float4* b [[buffer(1)]], uint3 p [[thread_position_in_grid]]) {
    constexpr sampler s(filter::linear, address::clamp_to_edge);
    const uint at = (p.z * 4 + p.y) * 4 + p.x;
    const float3 size(volume.get_width(), volume.get_height(), volume.get_depth());
    a[at] = volume.sample(s, (float3(p) * 0.9 + 0.5) / size);
    b[at] = volume.read(p);
}
