// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// 4096 threads that read and write bytes all over 64 MB, which buffer 0 is here.
// Buffers: 0 receives the result, 1 holds the frame.
#include <metal_stdlib>
using namespace metal;

struct Frame {
    float seconds;
    uint number;
};

uint peek(device const uchar* memory, uint at) {
    return memory[at] | memory[at + 1] << 8 | memory[at + 2] << 16 | uint(memory[at + 3]) << 24;
}

void poke(device uchar* memory, uint at, uint value) {
    for (uint i = 0; i < 4; i++)
        memory[at + i] = uchar(value >> (8 * i));
}

// All threads read the lower half; each one writes 8 KiB of its own in the upper half.
kernel void k7_memory(device uchar* memory [[buffer(0)]], constant Frame& frame [[buffer(1)]],
                      uint id [[thread_position_in_grid]]) {
    uint own = 0x2000000 + id * 8192;
    uint state = id * 747796405u + frame.number * 2891336453u;
    uint sum = peek(memory, own);
    for (int i = 0; i < 1000; i++) {
        state = state * 1664525u + 1013904223u;
        sum = (sum * 3) ^ peek(memory, (state >> 7) & 0x1FFFFFBu);
        poke(memory, own + ((state >> 19) & 8187u), sum);
    }
}
