#version 460
// Writes 7 where the address in buffer 0 leads, if that is in the table, else into the spare memory;
// and into buffer 1 what the spare memory held, and how many records the table has.
#extension GL_GOOGLE_include_directive : require
#include "Interface.glsl"

void main() {
    if (constants.begin + gl_GlobalInvocationID.x != 0)
        return;
    uint64_t address = Addresses(constants.bindings.at[0].address).at[0];
    Numbers target = numbersOf(spareSlot);
    numbersOf(1).at[0] = target.at[0];
    numbersOf(1).at[1] = uint(constants.memory.count);
    for (uint i = 0; i < uint(constants.memory.count); ++i) {
        Record record = constants.memory.at[i];
        if (address >= record.address && address + 4 <= record.address + record.bytes)
            target = Numbers(address);
    }
    target.at[0] = 7;
}
