// SPDX-License-Identifier: MIT
// Vectors of bool: comparisons, logic, any, all, select and components.
// grid 32 group 32
// buffer 0: in float3[32] = (i / 32, (i * 7 % 32) / 32, (i * 13 % 32) / 32)
// buffer 1: out uint[32] == sum((b0[i][k] < 0.5) << k for k in range(3))
// buffer 2: out float3[32] == tuple(x if x < 0.5 else 1 - x for x in b0[i])
// buffer 3: out bool[32] == any(x < 0.5 for x in b0[i]) and not all(x < 0.5 for x in b0[i])
// buffer 4: out float3[32] == (b0[i][0], b0[i][1] * (b0[i][1] < 0.5 or b0[i][1] >= 0.75), -1 if b0[i][2] != 0.25 else 1)
#include <metal_stdlib>
using namespace metal;

kernel void logic(device const float3* in [[buffer(0)]], device uint* masks [[buffer(1)]],
                  device float3* folded [[buffer(2)]], device bool* mixed [[buffer(3)]],
                  device float3* other [[buffer(4)]], uint id [[thread_position_in_grid]]) {
    const float3 v = in[id];
    bool3 low = v < 0.5;
    masks[id] = uint(low.x) | uint(low.y) << 1 | uint(low.z) << 2;
    folded[id] = select(1 - v, v, low);
    mixed[id] = any(low) && !all(low);
    bool3 ends = low || v >= 0.75;
    float3 r = v;
    r.y *= ends.y;
    r.z = (!(v == 0.25) && bool3(true)).z ? -1 : 1;
    other[id] = r;
}
