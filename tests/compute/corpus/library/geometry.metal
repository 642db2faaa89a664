// SPDX-License-Identifier: MIT
// Geometric functions: products, lengths, reflection and refraction.
// grid 30 group 10
// buffer 0: in float3[30] = (i % 5 - 2.25, i % 3 + 0.5, (i * 7) % 4 - 1.5)
// buffer 1: out float3[30] ~= unit(b0[i])
// buffer 2: out float4[30] ~= (dot(b0[i], A), norm(b0[i]), norm(sub(b0[i], A)), dot(b0[i], b0[i])) within 2e-6
// buffer 3: out float3[30] ~= cross(b0[i], A) within 2e-6
// buffer 4: out float3[30] ~= sub(b0[i], scaled((0, 1, 0), 2 * b0[i][1]))
// buffer 5: out float3[30] ~= refracted(unit(b0[i]), (0, 1, 0) if b0[i][1] < 0 else (0, -1, 0), 1.5) within 1e-5
// buffer 6: out float3[30] == (scaled(A, 1) if b0[i][0] < 0 else scaled(A, -1))
// python
// A = (1, -2, 0.5)
// def dot(a, b): return sum(x * y for x, y in zip(a, b))
// def sub(a, b): return tuple(x - y for x, y in zip(a, b))
// def scaled(a, s): return tuple(x * s for x in a)
// def norm(a): return sqrt(dot(a, a))
// def unit(a): return scaled(a, 1 / norm(a))
// def cross(a, b): return (a[1]*b[2]-a[2]*b[1], a[2]*b[0]-a[0]*b[2], a[0]*b[1]-a[1]*b[0])
// def refracted(v, n, eta):
//     k = 1 - eta * eta * (1 - dot(n, v) ** 2)
//     return (0, 0, 0) if k < 0 else sub(scaled(v, eta), scaled(n, eta * dot(n, v) + sqrt(k)))
// end
#include <metal_stdlib>
using namespace metal;

kernel void geometry(device const float3* in [[buffer(0)]], device float3* a [[buffer(1)]],
                     device float4* b [[buffer(2)]], device float3* c [[buffer(3)]],
                     device float3* d [[buffer(4)]], device float3* e [[buffer(5)]],
                     device float3* f [[buffer(6)]], uint id [[thread_position_in_grid]]) {
    const float3 v = in[id];
    const float3 w(1, -2, 0.5);
    a[id] = normalize(v);
    b[id] = float4(dot(v, w), length(v), distance(v, w), length_squared(v));
    c[id] = cross(v, w);
    d[id] = reflect(v, float3(0, 1, 0));
    e[id] = refract(normalize(v), float3(0, v.y < 0 ? 1 : -1, 0), 1.5f);
    f[id] = faceforward(w, v, float3(1, 0, 0));
}
