// SPDX-License-Identifier: MIT
// One template of a kernel, instantiated under several names.
// run double_int grid 16 group 16
// run double_float grid 16 group 16
// run add_seven grid 16 group 16
// buffer 0: inout int[16] = i - 4 == 2 * (i - 4)
// buffer 1: inout float[16] = i / 4 == i / 2
// buffer 2: inout uint[16] = i == i + 7
#include <metal_stdlib>
using namespace metal;

template <typename T, int Buffer>
[[kernel]] void doubled(device T* data [[buffer(Buffer)]], uint id [[thread_position_in_grid]]) {
    data[id] = data[id] * T(2);
}
template [[host_name("double_int")]] [[kernel]] void doubled<int, 0>(device int*, uint);
template [[host_name("double_float")]] [[kernel]] void doubled<float, 1>(device float*, uint);

template <typename T, int Amount>
[[kernel]] void add(device T* data [[buffer(2)]], uint id [[thread_position_in_grid]]) {
    data[id] += Amount;
}
template [[host_name("add_seven")]] [[kernel]] decltype(add<uint, 7>) add<uint, 7>;
