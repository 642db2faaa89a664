// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A world of cells, a byte each, whose edges are joined. All places are made of numbers in floating
// point, as programs of the console make them.
// Buffers: 0 receives the result and holds two worlds behind it, 1 holds the frame.
#include <metal_stdlib>
using namespace metal;

struct Frame {
    float seconds;
    uint number;
};

constant uint worldBegin = 16 << 20;
constant uint worldBytes = 1 << 20;

uint cell(device const uchar* world, float2 at, float2 size) {
    at = select(at, at + size, at < 0);
    at = select(at, at - size, at >= size);
    return world[uint(at.y * size.x + at.x)];
}

kernel void k6_cells(device float4* out [[buffer(0)]], constant Frame& frame [[buffer(1)]],
                     uint2 at [[thread_position_in_grid]], uint2 size [[threads_per_grid]]) {
    device uchar* worlds = (device uchar*)out + worldBegin;
    device const uchar* now = worlds + frame.number % 2 * worldBytes;
    device uchar* next = worlds + (frame.number + 1) % 2 * worldBytes;
    float2 coords = float2(at);
    uint around = 0;
    for (int y = -1; y <= 1; y++)
        for (int x = -1; x <= 1; x++)
            around += cell(now, coords + float2(x, y), float2(size));
    uint own = cell(now, coords, float2(size));
    bool isAlive = around == 3 || (around == 4 && own == 1);
    if (frame.number < 2)
        isAlive = (at.x * 7 ^ at.y * 13) % 5 < 2;
    uint place = uint(coords.y * size.x + coords.x);
    next[place] = isAlive ? 1 : 0;
    out[place] = float4(float3(around, own, isAlive) / float3(9, 1, 1), 1);
}
