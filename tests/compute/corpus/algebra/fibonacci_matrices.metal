// SPDX-License-Identifier: MIT
// Powers of integer matrices by squaring, in a structure of our own.
// grid 40 group 20
// buffer 0: out uint[40] == fib(i * 5) % 2 ** 32
// python
// def fib(n):
//     a, b = 0, 1
//     for _ in range(n): a, b = b, a + b
//     return a
// end
#include <metal_stdlib>
using namespace metal;

struct Matrix {
    uint2 rows[2];
    Matrix operator*(const thread Matrix& o) const thread {
        Matrix r;
        for (int k = 0; k < 2; ++k)
            r.rows[k] = uint2(rows[k].x * o.rows[0].x + rows[k].y * o.rows[1].x,
                              rows[k].x * o.rows[0].y + rows[k].y * o.rows[1].y);
        return r;
    }
};

kernel void fibonacci(device uint* out [[buffer(0)]], uint id [[thread_position_in_grid]]) {
    Matrix power = {{{1, 1}, {1, 0}}}, result = {{{1, 0}, {0, 1}}};
    for (uint n = id * 5; n > 0; n >>= 1) {
        if (n & 1)
            result = result * power;
        power = power * power;
    }
    out[id] = result.rows[0].y;
}
