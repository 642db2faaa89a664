#version 460
// Writes where there is nothing, as no shader of the compiler does.
#extension GL_GOOGLE_include_directive : require
#include "Interface.glsl"

void main() {
    Numbers nowhere = Numbers(uint64_t(constants.end));
    nowhere.at[0] = 1;
}
