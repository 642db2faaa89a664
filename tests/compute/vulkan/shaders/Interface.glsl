// SPDX-License-Identifier: MIT
// What compute/spirv/ShaderInterface.h says, for shaders that are written by hand.
#extension GL_EXT_buffer_reference : require
#extension GL_EXT_buffer_reference2 : require
#extension GL_EXT_shader_explicit_arithmetic_types_int64 : require

layout(local_size_x_id = 0, local_size_y_id = 1, local_size_z_id = 2) in;

struct Record {
    uint64_t address;
    uint64_t bytes;
};
layout(buffer_reference, std430, buffer_reference_align = 16) buffer Records {
    Record at[];
};
layout(buffer_reference, std430, buffer_reference_align = 16) buffer Grid {
    uint width, height, depth, groupWidth, groupHeight, groupDepth;
    uint arguments[31];
};
layout(buffer_reference, std430, buffer_reference_align = 16) buffer MemoryTable {
    uint64_t count;
    uint64_t unused;
    Record at[];
};
layout(buffer_reference, std430, buffer_reference_align = 4) buffer Numbers {
    uint at[];
};
layout(buffer_reference, std430, buffer_reference_align = 8) buffer Addresses {
    uint64_t at[];
};

layout(push_constant) uniform Constants {
    Records bindings;
    Grid grid;
    MemoryTable memory;
    uint begin;
    uint end;
} constants;

const uint spareSlot = 31 + 128 + 16;

Numbers numbersOf(uint slot) {
    return Numbers(constants.bindings.at[slot].address);
}
uint countOf(uint slot) {
    return uint(constants.bindings.at[slot].bytes / 4);
}
