#version 460
// Works in threadgroups: buffer 0 gets, for each of them, the sum of its threads' numbers in the
// memory of a threadgroup argument, and buffer 1 where that begins.
#extension GL_GOOGLE_include_directive : require
#include "Interface.glsl"

layout(constant_id = 3) const uint argumentBytes = 0;
shared uint own[16 + argumentBytes / 4];

void main() {
    uint group = constants.begin + gl_WorkGroupID.x;
    if (group >= constants.end)
        return;
    uint first = 16 + constants.grid.arguments[1] / 4;
    own[first + gl_LocalInvocationIndex] = gl_LocalInvocationIndex;
    barrier();
    if (gl_LocalInvocationIndex != 0)
        return;
    uint sum = 0;
    for (uint i = 0; i < gl_WorkGroupSize.x; ++i)
        sum += own[first + i];
    numbersOf(0).at[group] += sum;
    numbersOf(1).at[group] = constants.grid.arguments[1];
}
