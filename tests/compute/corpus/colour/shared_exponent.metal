// SPDX-License-Identifier: MIT
// Three numbers in one word with a common exponent, and back.
// grid 32 group 32
// buffer 0: in float3[32] = (2 ** (i - 12), 2 ** (i - 13) * 1.5, i / 8)
// buffer 1: out uint[32] == packed(b0[i])
// buffer 2: out float3[32] == unpacked(packed(b0[i]))
// python
// def packed(c):
//     top = min(max(c), 65408)
//     e = max(-16, floor(log2(top)) if top > 0 else -16) + 16
//     if floor(min(top, 65408) / 2 ** (e - 24) + 0.5) == 512: e += 1
//     m = [floor(min(x, 65408) / 2 ** (e - 24) + 0.5) for x in c]
//     return m[0] | m[1] << 9 | m[2] << 18 | e << 27
// def unpacked(w): return tuple((w >> k & 511) * 2.0 ** ((w >> 27) - 24) for k in (0, 9, 18))
// end
#include <metal_stdlib>
using namespace metal;

static uint pack(float3 c) {
    c = clamp(c, 0, 65408);
    const float top = max(c.x, max(c.y, c.z));
    int e = max(-16, int(as_type<uint>(top) >> 23) - 127) + 16;
    e += floor(top / exp2(float(e - 24)) + 0.5) == 512;
    const uint3 m = uint3(floor(c / exp2(float(e - 24)) + 0.5));
    return m.x | m.y << 9 | m.z << 18 | uint(e) << 27;
}

static float3 unpack(uint w) {
    const uint3 m = (uint3(w) >> uint3(0, 9, 18)) & 511u;
    return float3(m) * exp2(float(w >> 27) - 24);
}

kernel void convert(device const float3* in [[buffer(0)]], device uint* words [[buffer(1)]],
                    device float3* back [[buffer(2)]], uint id [[thread_position_in_grid]]) {
    words[id] = pack(in[id]);
    back[id] = unpack(words[id]);
}
