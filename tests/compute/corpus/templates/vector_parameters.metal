// SPDX-License-Identifier: MIT
// Templates over element type and length of vectors, deduced and given.
// grid 16 group 16
// buffer 0: in float4[16] = (i, 2 * i, 5 - i, i % 3)
// buffer 1: out float[16] == sum(b0[i])
// buffer 2: out int[16] == i * 2 + 3
// buffer 3: out half4[16] == (i, 0, 0, 1)
// buffer 4: out float3[16] == (b0[i][0] + 1, b0[i][1] + 1, b0[i][2] + 1)
#include <metal_stdlib>
using namespace metal;

template <typename T, int N>
T total(vec<T, N> v) {
    T sum = 0;
    for (int k = 0; k < N; ++k)
        sum += v[k];
    return sum;
}
template <typename T>
vec<T, 4> red(T x) {
    return vec<T, 4>(x, 0, 0, 1);
}
template <class V>
V moved(V v) {
    return v + V(1);
}

kernel void generic(device const float4* in [[buffer(0)]], device float* a [[buffer(1)]],
                    device int* b [[buffer(2)]], device half4* c [[buffer(3)]],
                    device float3* d [[buffer(4)]], uint id [[thread_position_in_grid]]) {
    a[id] = total(in[id]);
    b[id] = total<int, 3>(int3(id, id, 3));
    c[id] = red(half(id));
    d[id] = moved(in[id].xyz);
}
