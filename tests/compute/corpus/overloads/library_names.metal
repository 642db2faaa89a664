// SPDX-License-Identifier: MIT
// A program's own functions and variables with the names of library functions.
// grid 20 group 4
// buffer 0: in float3[20] = (i % 7, i % 5 - 2, (i * 3) % 11)
// buffer 1: out float[20] == max(b0[i])
// buffer 2: out float2[20] ~= (cos(i) * b0[i][0] - sin(i) * b0[i][1], sin(i) * b0[i][0] + cos(i) * b0[i][1])
// buffer 3: out float[20] == (b0[i][0] / 4) % 1 + 2
// buffer 4: out int[20] == (b0[i][1] > 0) - (b0[i][1] < 0) + 10
#include <metal_stdlib>
using namespace metal;

static float max3(float3 v) { return max(v.x, max(v.y, v.z)); }
static float2 rotate(float2 v, float angle) {
    return float2(cos(angle) * v.x - sin(angle) * v.y, sin(angle) * v.x + cos(angle) * v.y);
}
template <typename T>
static int sign(T value) {
    return (value > T(0)) - (value < T(0)) + 10;
}

kernel void names(device const float3* in [[buffer(0)]], device float* a [[buffer(1)]],
                  device float2* b [[buffer(2)]], device float* c [[buffer(3)]],
                  device int* d [[buffer(4)]], uint id [[thread_position_in_grid]]) {
    const float3 v = in[id];
    a[id] = max3(v);
    b[id] = rotate(v.xy, id);
    float fract = metal::fract(v.x / 4), length = 2;
    c[id] = fract + length;
    d[id] = sign(int(v.y));
}
