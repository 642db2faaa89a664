// SPDX-License-Identifier: MIT
// A sum of floats by comparing and exchanging bits, and atomics of float proper.
// grid 64 group 32
// buffer 0: in float[64] = (i * 5 % 16) - 4
// buffer 1: inout uint[1] = 0 == unpack('<I', pack('<f', sum(b0)))[0]
// buffer 2: inout float[2] = (8, 0)[i] == (8.5, 3)[i]
// python
// from struct import pack, unpack
// end
#include <metal_stdlib>
using namespace metal;

kernel void sums(device const float* in [[buffer(0)]], device atomic_uint* sum [[buffer(1)]],
                 device atomic_float* floats [[buffer(2)]], uint id [[thread_position_in_grid]]) {
    uint old = atomic_load_explicit(sum, memory_order_relaxed);
    uint next;
    do {
        next = as_type<uint>(as_type<float>(old) + in[id]);
    } while (!atomic_compare_exchange_weak_explicit(sum, &old, next, memory_order_relaxed,
                                                    memory_order_relaxed));
    if (id == 5) {
        float before = atomic_load_explicit(&floats[0], memory_order_relaxed);
        atomic_store_explicit(&floats[0], before + 0.5f, memory_order_relaxed);
        atomic_exchange_explicit(&floats[1], 3.0f, memory_order_relaxed);
    }
}
