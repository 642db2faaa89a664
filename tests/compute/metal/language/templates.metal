// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Templates over vectors, traits, specialisation, attributes, method qualifiers.
#include <metal_stdlib>
using namespace metal;

template <typename T, int N> vec<T, N> squared(vec<T, N> v) { return v * v; }
template <typename T> vec<T, 4> opaque(vec<T, 3> color) { return vec<T, 4>(color, 1); }
template <typename T> T make(float a, float b) { return T(a, b); }
template <typename T> struct element { using type = T; static constant constexpr int count = 1; };
template <typename T, int N> struct element<vec<T, N>> {
    using type = T;
    static constant constexpr int count = N;
};
template <typename T> enable_if_t<is_integral<T>::value, T> half_of(T x) { return x / 2; }
template <typename T> enable_if_t<is_floating_point_v<T>, T> half_of(T x) { return x * T(0.5); }
template <typename T> [[maybe_unused]] inline T lerp(T a, T b, float t) {
    if constexpr (is_same_v<T, half>)
        return a + (b - a) * half(t);
    else
        return a + (b - a) * t;
}
template <int N> float fbm(float2 p) {
    float sum = 0, amplitude = 0.5;
#pragma unroll
    for (int i = 0; i < N; i++) {
        sum += amplitude * sin(p.x) * sin(p.y);
        p *= 2;
        amplitude /= 2;
    }
    return sum;
}
template <typename... Ts> float total(Ts... values) { return (float(values) + ...); }

class Grid {
public:
    static constexpr constant int width = 16;
    Grid(device float* data) : cells(data) {}
    device float& at(int2 p) const { return cells[p.y * width + p.x]; }
    float sum() const thread { return at(int2(0, 0)) + at(int2(1, 1)); }

private:
    device float* cells;
};
struct Node {
    float value;
    Node operator+(Node other) const { return Node{value + other.value}; }
};
[[always_inline]] static float apply(float x) { return x * x; }

kernel void generic(device float4* out [[buffer(0)]], device float* data [[buffer(1)]],
                    constant Node* nodes [[buffer(2)]], uint id [[thread_position_in_grid]]) {
    Grid grid(data);
    grid.at({1, 2}) += 1;
    conditional_t<(sizeof(half) == 2), float2, half2> v = make<float2>(1, 2);
    element<float3>::type e = 2;
    decay_t<const float&> d = e;
    remove_reference_t<thread float&> r = d;
    auto add = [&](float a) { return a + r; };
    const Node local = nodes[0] + Node{4};
    out[id] = opaque(squared(float3(v, e))) + float4(make<half2>(1, 2).xyxy) +
              element<half4>::count + half_of(7) + half_of(3.0) + lerp(1.0f, 2.0f, .5) +
              float(lerp(1h, 2h, .5)) + fbm<4>(v) + total(1, 2.0, 3h) + grid.sum() +
              add(apply(2)) + nodes[1].value + local.value;
}
