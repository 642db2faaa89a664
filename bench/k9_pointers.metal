// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// 4096 threads that follow pointers through 256 KB, each of them made of a number that was read.
// Buffers: 0 receives the result, 1 holds the frame.
#include <metal_stdlib>
using namespace metal;

struct Frame {
    float seconds;
    uint number;
};

kernel void k9_pointers(device uint* memory [[buffer(0)]], constant Frame& frame [[buffer(1)]],
                        uint id [[thread_position_in_grid]]) {
    const ulong start = (ulong)memory;
    device uint* place = memory + id + frame.number;
    uint sum = 0;
    for (int i = 0; i < 1000; i++) {
        sum = sum * 3 + *place;
        place = (device uint*)(start + ((*place + id) & 0x3FFFCu));
    }
    memory[0x800000 + id] = sum;
}
