// SPDX-License-Identifier: MIT
// The same bits as another type, of equal size.
// grid 32 group 32
// buffer 0: in float[32] = (i - 7) * 0.375
// buffer 1: out uint[32] == unpack('<I', pack('<f', b0[i]))[0]
// buffer 2: out uchar4[32] == tuple(pack('<f', b0[i]))
// buffer 3: out float[32] == -abs(b0[i])
// buffer 4: out uint[32] == unpack('<I', pack('<ee', i, -0.5))[0]
// buffer 5: out half2[32] == unpack('<ee', pack('<I', 0x3c004000 + i))
// python
// from struct import pack, unpack
// end
#include <metal_stdlib>
using namespace metal;

kernel void bits(device const float* in [[buffer(0)]], device uint* a [[buffer(1)]],
                 device uchar4* b [[buffer(2)]], device float* c [[buffer(3)]],
                 device uint* d [[buffer(4)]], device half2* e [[buffer(5)]],
                 uint id [[thread_position_in_grid]]) {
    a[id] = as_type<uint>(in[id]);
    b[id] = as_type<uchar4>(in[id]);
    c[id] = as_type<float>(as_type<uint>(in[id]) | 0x80000000u);
    d[id] = as_type<uint>(half2(half(id), -0.5h));
    e[id] = as_type<half2>(0x3c004000u + id);
}
