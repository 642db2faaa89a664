#version 460
// Adds one to the number of every thread in buffer 0, by its place in a grid of rows.
#extension GL_GOOGLE_include_directive : require
#include "Interface.glsl"

void main() {
    uvec3 place = gl_GlobalInvocationID + uvec3(constants.begin, 0, 0);
    Grid grid = constants.grid;
    if (place.x >= constants.end || place.y >= grid.height || place.z >= grid.depth)
        return;
    uint index = place.x + grid.width * (place.y + grid.height * place.z);
    if (index < countOf(0))
        numbersOf(0).at[index] += 1;
}
