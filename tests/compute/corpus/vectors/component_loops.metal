// SPDX-License-Identifier: MIT
// Components by index: a polynomial per component, and the position of the largest.
// grid 40 group 8
// buffer 0: in float4[40] = ((i * 5) % 7, (i * 3) % 5, -i, i % 4)
// buffer 1: out float4[40] == tuple(c * c * 2 - c * (k + 1) for k, c in enumerate(b0[i]))
// buffer 2: out uint[40] == max(range(4), key=lambda k: (b0[i][k], -k))
#include <metal_stdlib>
using namespace metal;

kernel void loops(device const float4* in [[buffer(0)]], device float4* out [[buffer(1)]],
                  device uint* largest [[buffer(2)]], uint id [[thread_position_in_grid]]) {
    float4 v = in[id];
    float4 r;
    uint best = 0;
    for (int k = 0; k < 4; ++k) {
        r[k] = v[k] * v[k] * 2 - v[k] * float(k + 1);
        if (v[k] > v[best])
            best = k;
    }
    out[id] = r;
    largest[id] = best;
}
