// SPDX-License-Identifier: MIT
// Kernels of a library instantiated by macros for several types and operations.
// run map_square_float grid 8 group 8
// run map_negate_int grid 8 group 8
// buffer 0: in uint[16] = bits(i / 2) if i < 8 else i * 3
// buffer 1: out uint[16] == bits(i * i / 4) if i < 8 else -i * 3
// python
// from struct import pack, unpack
// def bits(x): return unpack('<I', pack('<f', x))[0]
// end
#include <metal_stdlib>
using namespace metal;

struct Square {
    template <typename T>
    T operator()(T x) {
        return x * x;
    }
};
struct Negate {
    template <typename T>
    T operator()(T x) {
        return -x;
    }
};

template <typename T, typename Operation, uint First>
[[kernel]] void map(device const T* in [[buffer(0)]], device T* out [[buffer(1)]],
                    uint id [[thread_position_in_grid]]) {
    out[First + id] = Operation()(in[First + id]);
}

#define instantiate(name, type, operation, first)                                                  \
    template [[host_name(#name)]] [[kernel]] void map<type, operation, first>(                     \
        device const type* in [[buffer(0)]], device type* out [[buffer(1)]],                       \
        uint id [[thread_position_in_grid]]);

instantiate(map_square_float, float, Square, 0)
instantiate(map_negate_int, int, Negate, 8)
