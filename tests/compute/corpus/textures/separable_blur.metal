// SPDX-License-Identifier: MIT
// A separable Gaussian blur over two kernels and a texture between them.
// run horizontal grid 16x8 group 16x8
// run vertical grid 16x8 group 16x8
// texture 0: in 2d rgba32float 16x8 = ((x * 5 + y * 3) % 16, x % 4, y, 1)
// texture 1: inout 2d rgba32float 16x8 ~= weighted(lambda k: t0[min(max(x + k, 0), 15), y, 0, 0])
// texture 2: out 2d rgba32float 16x8 ~= weighted(lambda j: weighted(lambda k: t0[min(max(x + k, 0), 15), min(max(y + j, 0), 7), 0, 0]))
// python
// def weighted(at):
//     return tuple(sum(w * at(k)[c] for k, w in zip((-2, -1, 0, 1, 2), (1, 4, 6, 4, 1))) / 16 for c in range(4))
// end
#include <metal_stdlib>
using namespace metal;

constant float weights[] = {1.0 / 16, 4.0 / 16, 6.0 / 16, 4.0 / 16, 1.0 / 16};

static float4 blurred(texture2d<float, access::read> from, uint2 p, int2 step) {
    float4 sum = 0;
    const int2 last(from.get_width() - 1, from.get_height() - 1);
    for (int k = -2; k <= 2; ++k)
        sum += weights[k + 2] * from.read(uint2(clamp(int2(p) + k * step, int2(0), last)));
    return sum;
}

kernel void horizontal(texture2d<float, access::read> from [[texture(0)]],
                       texture2d<float, access::write> to [[texture(1)]],
                       uint2 p [[thread_position_in_grid]]) {
    to.write(blurred(from, p, int2(1, 0)), p);
}

kernel void vertical(texture2d<float, access::read> from [[texture(1)]],
                     texture2d<float, access::write> to [[texture(2)]],
                     uint2 p [[thread_position_in_grid]]) {
    to.write(blurred(from, p, int2(0, 1)), p);
}
