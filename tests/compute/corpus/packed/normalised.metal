// SPDX-License-Identifier: MIT
// Colours packed to normalised bytes and back by the library's functions.
// grid 32 group 32
// buffer 0: in float4[32] = (i / 31, 1 - i / 31, 0.5, i / 16 - 0.5)
// buffer 1: out uint[32] == sum(floor(min(max(x, 0), 1) * 255 + 0.5) << 8 * k for k, x in enumerate(b0[i]))
// buffer 2: out float4[32] ~= ((i * 8 & 255) / 255, (i & 255) / 255, 1, 0)
// buffer 3: out float2[32] ~= (max(i16(i * 2048 - 32768) / 32767, -1), (i * 100) / 32767)
#include <metal_stdlib>
using namespace metal;

kernel void pack(device const float4* in [[buffer(0)]], device uint* packed [[buffer(1)]],
                 device float4* a [[buffer(2)]], device float2* b [[buffer(3)]],
                 uint id [[thread_position_in_grid]]) {
    packed[id] = pack_float_to_unorm4x8(in[id]);
    a[id] = unpack_unorm4x8_to_float((id * 8 & 255) | id << 8 | 255u << 16);
    b[id] = unpack_snorm2x16_to_float(((id * 2048 - 32768) & 0xffff) | (id * 100) << 16);
}
