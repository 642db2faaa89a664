// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The front of every program: the records that the host fills, the key names, and the constants
// that the host compiles into the kernels.

#include <metal_stdlib>
using namespace metal;

struct FFTValues {
    float raw[256];
    float smoothed[256];
    float integrated[256];
};

enum FFTType : int {
    Raw = 0,
    Smoothed = 1,
    Integrated = 2
};

struct MouseValues {
    float2 location;
    bool leftButton;
    bool rightButton;
    bool leftClick;
    bool rightClick;
    // float scrollDelta;
};

struct KeyboardValues {
    bool state[128];
    bool pressed[128];
};

#define Shift 1
#define Command 2
#define Control 3
#define Option 4

#define Delete 8
#define Tab 9
#define Enter 13
#define Return 13
#define Escape 27

#define Left 28
#define Right 29
#define Up 30
#define Down 31

#define Space 32

constant char colorMode [[function_constant(0)]];
constant char blendMode [[function_constant(1)]];

