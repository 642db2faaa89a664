// SPDX-License-Identifier: MIT
// Parameters and constants that depend on function constants, vectors among them.
// grid 8 group 8
// constant 0: bool = True
// constant 1: bool = False
// buffer 0: in float[8] = i * 2
// buffer 2: out float[8] == b0[i] + 3
#include <metal_stdlib>
using namespace metal;

constant bool hasInput [[function_constant(0)]];
constant bool hasMask [[function_constant(1)]];
constant int extra [[function_constant(2)]];
constant int usedExtra = is_function_constant_defined(extra) ? extra : 3;

kernel void optional(device const float* in [[buffer(0), function_constant(hasInput)]],
                     device const float* mask [[buffer(1), function_constant(hasMask)]],
                     device float* out [[buffer(2)]], uint id [[thread_position_in_grid]]) {
    float v = usedExtra;
    if (hasInput)
        v += in[id];
    if (hasMask)
        v *= mask[id];
    out[id] = v;
}
