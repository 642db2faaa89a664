#version 460
// Puts twice the number from buffer 0 into buffer 1.
#extension GL_GOOGLE_include_directive : require
#include "Interface.glsl"

void main() {
    uint index = constants.begin + gl_GlobalInvocationID.x;
    if (index < constants.end && index < min(countOf(0), countOf(1)))
        numbersOf(1).at[index] = 2 * numbersOf(0).at[index];
}
