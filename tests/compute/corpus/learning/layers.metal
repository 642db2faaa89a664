// SPDX-License-Identifier: MIT
// A layer of neurons with several activations, and softmax of its outputs, by templates.
// run layer grid 16 group 16
// run soft grid 2 group 2
// buffer 0: in float[16] = (i * 3 % 8 - 4) / 4
// buffer 1: in float[64] = (i * 5 % 9 - 4) / 8
// buffer 2: out float[16] ~= act(i % 8 % 3, sum(b0[i // 8 * 8 + k] * b1[i % 8 * 8 + k] for k in range(8)) + 0.125 * (i % 8)) within 2e-6
// buffer 3: out float[16] ~= exp(NEURON(i)) / sum(exp(NEURON(i // 8 * 8 + k)) for k in range(8)) within 2e-6
// python
// def act(kind, x): return max(x, 0) if kind == 0 else tanh(x) if kind == 1 else x / (1 + exp(-x))
// def NEURON(i): return act(i % 8 % 3, sum(b0[i // 8 * 8 + k] * b1[i % 8 * 8 + k] for k in range(8)) + 0.125 * (i % 8))
// end
#include <metal_stdlib>
using namespace metal;

struct Relu {
    float operator()(float x) const { return max(x, 0.0f); }
};
struct Tanh {
    float operator()(float x) const { return tanh(x); }
};
struct Silu {
    float operator()(float x) const { return x / (1 + exp(-x)); }
};

template <typename Activation, int N>
static float neuron(device const float* in, constant float* weights, float bias) {
    float sum = bias;
    for (int k = 0; k < N; k += 4)
        sum += dot(*reinterpret_cast<device const packed_float4*>(in + k), *reinterpret_cast<constant packed_float4*>(weights + k));
    return Activation()(sum);
}

kernel void layer(device const float* in [[buffer(0)]], constant float* weights [[buffer(1)]],
                  device float* out [[buffer(2)]], uint id [[thread_position_in_grid]]) {
    device const float* x = in + id / 8 * 8;
    constant float* w = weights + id % 8 * 8;
    const float bias = 0.125 * (id % 8);
    const uint kind = id % 8 % 3;
    out[id] = kind == 0   ? neuron<Relu, 8>(x, w, bias)
              : kind == 1 ? neuron<Tanh, 8>(x, w, bias)
                          : neuron<Silu, 8>(x, w, bias);
}

kernel void soft(device const float* in [[buffer(2)]], device float* out [[buffer(3)]],
                 uint row [[thread_position_in_grid]]) {
    float top = -INFINITY, sum = 0;
    for (uint k = 0; k < 8; ++k)
        top = max(top, in[8 * row + k]);
    for (uint k = 0; k < 8; ++k)
        sum += out[8 * row + k] = exp(in[8 * row + k] - top);
    for (uint k = 0; k < 8; ++k)
        out[8 * row + k] /= sum;
}
