// SPDX-License-Identifier: MIT
// Attributes that change nothing, unrolled loops, and namespaces written out.
// grid 8 group 8
// buffer 0: out float[8] == sum(i * k for k in range(4)) + 2
#include <metal_stdlib>
using namespace metal;

[[clang::optnone]] static float slow(float x) { return x; }
[[gnu::always_inline]] inline float quick(float x) { return x; }
[[nodiscard]] static float twice(float x) { return x + x; }

namespace tools {
enum class Kind : ushort { Sum = 2, Product };
using Number = float;
static constexpr constant Number bonus = 1;
template <Kind K>
static Number combined(Number a, Number b) {
    return K == Kind::Sum ? a + b : a * b;
}
} // namespace tools

kernel void attributes(device float* out [[buffer(0)]],
                       [[maybe_unused]] constant uint* unused [[buffer(30)]],
                       metal::uint id [[thread_position_in_grid]]) {
    [[maybe_unused]] const float nothing = 0;
    float sum = 0;
#pragma unroll
    for (int k = 0; k < 4; ++k)
        sum = tools::combined<tools::Kind::Sum>(sum, slow(quick(float(id))) * k);
    out[id] = sum + twice(tools::bonus) * metal::max(0.5f, 1.0f);
}
