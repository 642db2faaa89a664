// SPDX-License-Identifier: MIT
// Values of other threads of the SIMD group: by index, relative, exclusive-or, rotated, broadcast.
// grid 64 group 32
// buffer 0: in uint[64] = i * i + 3
// buffer 1: out uint4[64] == (at(i, 31 - i % 32), at(i, i % 32 ^ 5), b0[i - 1] if i % 32 > 0 else 0, b0[i + 1] if i % 32 < 31 else 0)
// buffer 2: out uint4[64] == (at(i, 7), at(i, 0), at(i, (i + 3) % 32), at(i, (i - 2) % 32))
// buffer 3: out float2[64] == (at(i, i % 32 ^ 16) / 2, -at(i, i % 32 ^ 16))
// python
// def at(i, lane): return b0[i // 32 * 32 + lane]
// end
#include <metal_stdlib>
using namespace metal;

kernel void shuffle(device const uint* in [[buffer(0)]], device uint4* a [[buffer(1)]],
                    device uint4* b [[buffer(2)]], device float2* c [[buffer(3)]],
                    uint id [[thread_position_in_grid]], ushort lane [[thread_index_in_simdgroup]]) {
    const uint v = in[id];
    const uint before = simd_shuffle_up(v, 1), after = simd_shuffle_down(v, 1);
    a[id] = uint4(simd_shuffle(v, ushort(31 - lane)), simd_shuffle_xor(v, 5), lane > 0 ? before : 0,
                  lane < 31 ? after : 0);
    b[id] = uint4(simd_broadcast(v, 7), simd_broadcast_first(v), simd_shuffle_rotate_down(v, 3),
                  simd_shuffle_rotate_up(v, 2));
    c[id] = simd_shuffle_xor(float2(v / 2.0f, -float(v)), 16);
}
