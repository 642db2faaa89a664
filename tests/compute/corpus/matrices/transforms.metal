// SPDX-License-Identifier: MIT
// Projection of points with a camera: look-at and perspective matrices from functions.
// grid 27 group 27
// buffer 0: out float3[27] ~= project((i % 3 - 1, i // 3 % 3 - 1, i // 9 - 1)) within 1e-5
// python
// def sub(a, b): return [x - y for x, y in zip(a, b)]
// def dot(a, b): return sum(x * y for x, y in zip(a, b))
// def cross(a, b): return [a[1]*b[2]-a[2]*b[1], a[2]*b[0]-a[0]*b[2], a[0]*b[1]-a[1]*b[0]]
// def unit(a): return [x / sqrt(dot(a, a)) for x in a]
// def project(p):
//     eye = (3, 4, 5)
//     f = unit(sub((0, 0, 0), eye)); s = unit(cross(f, (0, 1, 0))); u = cross(s, f)
//     d = sub(p, eye)
//     x, y, z = dot(s, d), dot(u, d), -dot(f, d)
//     g = 1 / tan(0.5)
//     return (g / 1.5 * x / -z, g * y / -z, (10 * z / (1 - 10) + 10 * 1 / (1 - 10)) / -z)
// end
#include <metal_stdlib>
using namespace metal;

static float4x4 lookAt(float3 eye, float3 target, float3 up) {
    float3 f = normalize(target - eye);
    float3 s = normalize(cross(f, up));
    float3 u = cross(s, f);
    return float4x4(float4(s.x, u.x, -f.x, 0), float4(s.y, u.y, -f.y, 0), float4(s.z, u.z, -f.z, 0),
                    float4(-dot(s, eye), -dot(u, eye), dot(f, eye), 1));
}

static float4x4 perspective(float angle, float aspect, float near, float far) {
    float g = 1 / tan(angle / 2);
    return float4x4({g / aspect, 0, 0, 0}, {0, g, 0, 0}, {0, 0, far / (near - far), -1},
                    {0, 0, far * near / (near - far), 0});
}

kernel void project(device float3* out [[buffer(0)]], uint id [[thread_position_in_grid]]) {
    float3 p = float3(id % 3, id / 3 % 3, id / 9) - 1;
    float4x4 m = perspective(1.0, 1.5, 1, 10) * lookAt(float3(3, 4, 5), 0, float3(0, 1, 0));
    float4 q = m * float4(p, 1);
    out[id] = q.xyz / q.w;
}
