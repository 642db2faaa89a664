// SPDX-License-Identifier: MIT
// Functions on integers take their arguments from wherever these lie, in templates too.
// grid 32 group 32
// buffer 0: in int4[32] = (i * 77 - 900, 5 - i, i * i, -i * 100003)
// buffer 1: in ushort3[32] = (i * 2047, i, 65535 - i)
// buffer 2: in uint2[1] = (3, 5)
// buffer 3: out int4[32] == [max(min(b0[i][j], 1000), -500) + abs(b0[i][(j + 1) % 4])
//     for j in range(4)]
// buffer 4: out int4[32] == [b0[i][j] if b0[i][j] > 0 else b0[31 - i][j] for j in range(4)]
// buffer 5: out uint3[32] == [bin(b1[i][j]).count('1') + min(b1[i][j], b1[0][j]) for j in range(3)]
// buffer 6: out int2[32] == (b0[i][0] >> 3, b0[i][1] >> 5)
// buffer 7: out int2[32] == (sum(e[2] for e in b0), max(e[1] for e in b0))
#include <metal_stdlib>
using namespace metal;

template <class T>
static T shifted(T value, constant uint2& by) {
    value.xy >>= by;
    return value;
}

kernel void take(device const int4* in [[buffer(0)]], device const ushort3* words [[buffer(1)]],
                 constant uint2& by [[buffer(2)]], device int4* clamped [[buffer(3)]],
                 device int4* chosen [[buffer(4)]], device uint3* counts [[buffer(5)]],
                 device int2* shifts [[buffer(6)]], device int2* sums [[buffer(7)]],
                 uint i [[thread_position_in_grid]], uint t [[thread_index_in_threadgroup]]) {
    clamped[i] = clamp(in[i], -500, 1000) + abs(in[i]).yzwx;
    threadgroup int4 own[32];
    own[t] = in[i];
    threadgroup_barrier(mem_flags::mem_threadgroup);
    chosen[i] = select(own[31 - t], own[t], in[i] > 0);
    counts[i] = uint3(popcount(words[i])) + uint3(min(words[i], words[0]));
    shifts[i] = shifted(own[t], by).xy;
    sums[i] = int2(simd_sum(own[t].z), simd_max(in[i]).y);
}
