// SPDX-License-Identifier: MIT
// Function constants choose what a kernel does and how large its arrays are.
// grid 16 group 16
// constant 0: bool = True
// constant 1: uint = 5
// constant 2: float = 0.25
// constant 3: short = -3
// buffer 0: out float[16] == sum(i * 0.25 + k for k in range(5))
// buffer 1: out int[16] == i - 3 + 1000
#include <metal_stdlib>
using namespace metal;

constant bool doubled [[function_constant(0)]];
constant uint taps [[function_constant(1)]];
constant float weight [[function_constant(2)]];
constant short offset [[function_constant(3)]];
constant bool never [[function_constant(7)]];
constant uint twice = taps * 2;
constant int chosen = is_function_constant_defined(never) ? 1 : 1000;

kernel void specialised(device float* a [[buffer(0)]], device int* b [[buffer(1)]],
                        uint id [[thread_position_in_grid]]) {
    float sum = 0;
    for (uint k = 0; k < twice / 2; ++k)
        sum += doubled ? id * weight + k : -1;
    a[id] = sum;
    b[id] = int(id) + offset + chosen;
}
