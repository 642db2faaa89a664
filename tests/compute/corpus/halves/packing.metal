// SPDX-License-Identifier: MIT
// Halves put together bit by bit, and taken apart.
// grid 64 group 32
// buffer 0: in half[64] = (i - 32) * 0.37
// buffer 1: out ushort[64] == unpack('<H', pack('<e', b0[i]))[0]
// buffer 2: out float[64] == b0[i]
// buffer 3: out uint[64] == unpack('<H', pack('<e', b0[i]))[0] | unpack('<H', pack('<e', b0[63 - i]))[0] << 16
// python
// from struct import pack, unpack
// end
#include <metal_stdlib>
using namespace metal;

static float decoded(ushort bits) {
    const int sign = bits >> 15, exponent = bits >> 10 & 31, mantissa = bits & 1023;
    const float value = exponent == 0 ? ldexp(float(mantissa), -24)
                                      : ldexp(float(mantissa | 1024), exponent - 25);
    return sign ? -value : value;
}

kernel void pack(device const half* in [[buffer(0)]], device ushort* bits [[buffer(1)]],
                 device float* values [[buffer(2)]], device uint* pairs [[buffer(3)]],
                 uint id [[thread_position_in_grid]]) {
    bits[id] = as_type<ushort>(in[id]);
    values[id] = decoded(bits[id]);
    pairs[id] = as_type<uint>(half2(in[id], in[63 - id]));
}
