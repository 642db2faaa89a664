// SPDX-License-Identifier: MIT
// Type traits choose code paths and types.
// grid 16 group 16
// buffer 0: out float4[16] == (i + 1, i / 2 if i < 99 else 0, 3, 2)
// buffer 1: out uint[16] == 4 * i + 1
#include <metal_stdlib>
using namespace metal;

template <typename T, typename = enable_if_t<is_integral<T>::value>>
T halved(T value) {
    return value >> 1;
}
template <typename T, typename = enable_if_t<is_floating_point<T>::value>, typename = void>
T halved(T value) {
    return value * T(0.5);
}
template <typename T>
struct Wider {
    using type = typename conditional<is_same<T, short>::value, int, float>::type;
};
template <typename T>
constexpr int sizeOfWider() {
    return sizeof(typename Wider<T>::type);
}

kernel void traits(device float4* a [[buffer(0)]], device uint* b [[buffer(1)]],
                   uint id [[thread_position_in_grid]]) {
    constexpr int kinds = is_same<decay<const float>::type, float>::value + 2 * is_signed<int>::value;
    a[id] = float4(halved(int(2 * id + 3)), halved(float(id)), kinds, halved(uint(5)));
    if constexpr (sizeOfWider<short>() == 4)
        b[id] = 4 * id + 1;
    else
        b[id] = 0;
}
