#version 460
// Takes minutes. The software driver ends every loop after 65535 turns, so these are long ones.
#extension GL_GOOGLE_include_directive : require
#include "Interface.glsl"

#define TEN(step) step step step step step step step step step step
#define STEP atomicAdd(numbersOf(0).at[1], 1);

void main() {
    for (uint i = 0; i < 65000; ++i) {
        TEN(TEN(STEP))
    }
}
