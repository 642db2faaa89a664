// SPDX-License-Identifier: MIT
// A structure with pointers and numbers as argument buffer.
// grid 16 group 16
// buffer 1: in float[16] = i * 2
// buffer 2: out float[16] == i * 2 * 1.5 + 1
// argument_buffer 0: buffer 1, buffer 2, float 1.5, float 1
#include <metal_stdlib>
using namespace metal;

struct Arguments {
    device const float* in [[id(0)]];
    device float* out [[id(1)]];
    float scale [[id(2)]];
    float offset [[id(3)]];
};

kernel void scale(constant Arguments& arguments [[buffer(0)]], uint id [[thread_position_in_grid]]) {
    arguments.out[id] = arguments.in[id] * arguments.scale + arguments.offset;
}
