// SPDX-License-Identifier: MIT
// One template of a kernel, instantiated under several names.
// run double_int grid 16 group 16
// run double_ushort grid 32 group 32
// run add_seven grid 16 group 16
// buffer 0: inout int[16] = i * 3 == i * 12
// buffer 1: inout uint[16] = i == i + 7
#include <metal_stdlib>
using namespace metal;

template <typename T>
[[kernel]] void doubled(device T* data [[buffer(0)]], uint id [[thread_position_in_grid]]) {
    data[id] = data[id] * T(2);
}
template [[host_name("double_int")]] [[kernel]] void doubled<int>(device int*, uint);
template [[host_name("double_ushort")]] [[kernel]] void doubled<ushort>(device ushort*, uint);

template <typename T, int Amount>
[[kernel]] void add(device T* data [[buffer(1)]], uint id [[thread_position_in_grid]]) {
    data[id] += Amount;
}
template [[host_name("add_seven")]] [[kernel]] decltype(add<uint, 7>) add<uint, 7>;
