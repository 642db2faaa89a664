#version 460
// Works in threadgroups: buffer 0 gets, for each of them, the sum of its threads' numbers, which
// subgroups of 4, 8 or 16 threads give where all are full. Those here have 48 threads or 38.
#extension GL_GOOGLE_include_directive : require
#extension GL_KHR_shader_subgroup_ballot : require
#include "Interface.glsl"

void main() {
    uint group = constants.begin + gl_WorkGroupID.x;
    if (group >= constants.end)
        return;
    uint number = gl_LocalInvocationIndex;
    if (gl_WorkGroupSize.x % 16 == 0) {
        uint threads = subgroupBallotBitCount(subgroupBallot(true));
        number = gl_SubgroupID * threads + gl_SubgroupInvocationID;
    }
    atomicAdd(numbersOf(0).at[group], number);
}
