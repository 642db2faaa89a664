// SPDX-License-Identifier: MIT
// Integer hashes: multiplication and shifts, FNV over bytes, and a CRC by table.
// grid 64 group 32
// buffer 0: out uint[64] == mixed(i)
// buffer 1: out uint[64] == fnv(i * 31)
// buffer 2: out uint[64] == zlib.crc32(bytes([i, 255 - i, 7]))
// python
// import zlib
// def mixed(x):
//     x = u32((x ^ x >> 16) * 0x7feb352d)
//     x = u32((x ^ x >> 15) * 0x846ca68b)
//     return x ^ x >> 16
// def fnv(x):
//     h = 2166136261
//     for k in range(4):
//         h = u32((h ^ x >> 8 * k & 255) * 16777619)
//     return h
// end
#include <metal_stdlib>
using namespace metal;

static uint mixed(uint x) {
    x ^= x >> 16;
    x *= 0x7feb352du;
    x ^= x >> 15;
    x *= 0x846ca68bu;
    x ^= x >> 16;
    return x;
}

static uint fnv(uint x) {
    uint h = 2166136261u;
    for (uint k = 0; k < 4; ++k, x >>= 8)
        h = (h ^ (x & 255)) * 16777619u;
    return h;
}

static uint entry(uint byte) {
    for (int k = 0; k < 8; ++k)
        byte = byte & 1 ? 0xedb88320 ^ byte >> 1 : byte >> 1;
    return byte;
}

kernel void hashes(device uint* a [[buffer(0)]], device uint* b [[buffer(1)]], device uint* c [[buffer(2)]],
                   uint id [[thread_position_in_grid]]) {
    a[id] = mixed(id);
    b[id] = fnv(id * 31);
    const uchar message[] = {uchar(id), uchar(255 - id), 7};
    uint crc = ~0u;
    for (uchar byte : message)
        crc = entry((crc ^ byte) & 255) ^ crc >> 8;
    c[id] = ~crc;
}
