// SPDX-License-Identifier: MIT
// Programs that ask after the fact whether a product had more bits than its type.
// grid 8 group 8
// buffer 0: in uint[16] = (0, 1, 2, 65536, 65535, 0xffffffff, 0x80000000, 3)[i] if i < 8 else (7, 0xffffffff, 0x80000000, 65536, 65537, 0xffffffff, 2, 0x55555555)[i - 8]
// buffer 1: in ulong[16] = (0, 1, 2, 1 << 32, (1 << 32) - 1, 2**64 - 1, 1 << 63, 3)[i] if i < 8 else (7, 2**64 - 1, 1 << 63, 1 << 32, (1 << 32) + 1, 2**64 - 1, 2, 2**64 // 3)[i - 8]
// buffer 2: out uint2[8] == (not b0[i] * b0[i + 8] < 2**32, not b1[i] * b1[i + 8] < 2**64)
#include <metal_stdlib>
using namespace metal;

template <class T>
uint overflows(T a, T b) {
    return a != 0 && a * b / a != b;
}

kernel void overflow(device const uint* words [[buffer(0)]], device const ulong* longs [[buffer(1)]],
                     device uint2* products [[buffer(2)]], uint id [[thread_position_in_grid]]) {
    products[id] = uint2(overflows(words[id], words[id + 8]), overflows(longs[id], longs[id + 8]));
}
