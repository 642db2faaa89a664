// SPDX-License-Identifier: MIT
// Two steps of bodies that attract each other, each step one dispatch, buffers changing roles.
// run forces grid 16 group 16
// run move grid 16 group 16
// run forces grid 16 group 16
// run move grid 16 group 16
// buffer 0: inout float4[16] = body(i) ~= AFTER[0][i] within 1e-5
// buffer 1: inout float4[16] = (0, 0, 0, 0) ~= AFTER[1][i] within 1e-5
// buffer 2: inout float4[16] = (0, 0, 0, 0) ~= AFTER[2][i] within 1e-5
// python
// def body(i): return (cos(i) * (i % 4 + 1), sin(i) * (i % 4 + 1), i / 8 - 1, 1 + i % 3)
// def run():
//     ps = [tuple(map(f32, body(i))) for i in range(16)]
//     vs = [(0, 0, 0)] * 16
//     for _ in range(2):
//         fs = []
//         for p in ps:
//             f = [0, 0, 0]
//             for q in ps:
//                 d = [b - a for a, b in zip(p, q[:3])]
//                 w = q[3] / (sum(x * x for x in d) + 0.25) ** 1.5
//                 f = [a + w * b for a, b in zip(f, d)]
//             fs.append(f)
//         vs = [tuple(a + 0.125 * b for a, b in zip(v, f)) for v, f in zip(vs, fs)]
//         ps = [tuple(a + 0.125 * b for a, b in zip(p, v)) + (p[3],) for p, v in zip(ps, vs)]
//     return [ps, [v + (0,) for v in vs], [tuple(f) + (0,) for f in fs]]
// AFTER = run()
// end
#include <metal_stdlib>
using namespace metal;

constant float timeStep = 0.125, softening = 0.25;

kernel void forces(device const float4* positions [[buffer(0)]], device float4* out [[buffer(2)]],
                   uint id [[thread_position_in_grid]], uint n [[threads_per_grid]]) {
    const float3 p = positions[id].xyz;
    float3 f = 0;
    for (uint k = 0; k < n; ++k) {
        const float3 d = positions[k].xyz - p;
        const float r = rsqrt(dot(d, d) + softening);
        f += positions[k].w * (r * r * r) * d;
    }
    out[id] = float4(f, 0);
}

kernel void move(device float4* positions [[buffer(0)]], device float4* velocities [[buffer(1)]],
                 device const float4* forces [[buffer(2)]], uint id [[thread_position_in_grid]]) {
    velocities[id].xyz += forces[id].xyz * timeStep;
    positions[id].xyz += velocities[id].xyz * timeStep;
}
