// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The machine class, left open: the functions of the other files and then the program itself are
// its members. KernelTail.metal closes it.

class SL42 {
public:
    device uchar* memory;
    device uchar* registers;
    device half4* screenMemory;
    device half4* lastScreenMemory;
    device float2* audioBuffer;

    AudioTimer audioTimer;
    constant FFTValues* fftValues;

    float4 pixel = float4(0);
    float time;
    uint core;
    uint sample;
    uint sampleRate;
    float2 coords;

    texture2d<float, access::sample> fontTexture;
    constant MouseValues* mouse;
    constant KeyboardValues* keyboard;
    uint randomSeed;

    // bool operator[](char key) { return keyboard->state[int(key)]; }

