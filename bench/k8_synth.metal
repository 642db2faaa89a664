// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// 16 seconds of sound: a dozen sines and exponentials a sample.
// Buffer 0 receives the result.
#include <metal_stdlib>
using namespace metal;

kernel void k8_synth(device float2* out [[buffer(0)]], uint n [[thread_position_in_grid]]) {
    uint note = n / 12000;
    float time = float(n - note * 12000) / 48000;
    float turn = 2 * M_PI_F * 110 * (1 + 0.125 * float(note & 7)) * time;
    float2 sum = 0;
    for (int k = 0; k < 4; k++) {
        float h = float(k * 2 + 1);
        sum.x += sin(turn * h) * exp(time * (-4 - 3 * h)) / h;
        sum.y += sin(turn * (h + 1.003)) * exp(time * (-5 - 3 * h)) / (h + 1);
    }
    float first = sin(turn * 3.01) * exp(time * -9);
    float second = sin(turn * 2 + 2 * first) * exp(time * -6);
    out[n] = sum * 0.3 + sin(turn + 3 * second) * exp(time * -3) * 0.4;
}
