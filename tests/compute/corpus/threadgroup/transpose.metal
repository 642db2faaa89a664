// SPDX-License-Identifier: MIT
// A transposition by way of a padded tile.
// grid 32x16 group 8x8
// buffer 0: in uint[512] = i * 3 + 1
// buffer 1: out uint[512] == b0[i % 16 * 32 + i // 16]
#include <metal_stdlib>
using namespace metal;

kernel void transpose(device const uint* in [[buffer(0)]], device uint* out [[buffer(1)]],
                      ushort2 local [[thread_position_in_threadgroup]],
                      ushort2 group [[threadgroup_position_in_grid]],
                      uint2 size [[threads_per_grid]]) {
    threadgroup uint tile[8][8 + 1];
    uint2 from = uint2(group * 8 + local);
    tile[local.y][local.x] = in[from.y * size.x + from.x];
    threadgroup_barrier(mem_flags::mem_threadgroup);
    uint2 to = uint2(group.yx * 8 + local);
    out[to.y * size.y + to.x] = tile[local.x][local.y];
}
