// SPDX-License-Identifier: MIT
// A user's functions overloaded by element type, vector length and reference.
// grid 16 group 16
// buffer 0: out int[16] == i * 1 + 20 + 300 + 4000 + 50000
// buffer 1: out float2[16] == (i * i, i + i)
#include <metal_stdlib>
using namespace metal;

static int which(int) { return 1; }
static int which(float) { return 20; }
static int which(float2) { return 300; }
static int which(half3) { return 4000; }
static int which(thread float&, int) { return 50000; }
static float area(float w, float h) { return w * h; }
static float area(float2 size) { return size.x + size.y; }

kernel void overload(device int* out [[buffer(0)]], device float2* areas [[buffer(1)]],
                     uint id [[thread_position_in_grid]]) {
    float f = id;
    out[id] = int(id) * which(int(id)) + which(f) + which(float2(f)) + which(half3(1)) + which(f, 1);
    areas[id] = float2(area(f, f), area(float2(f)));
}
