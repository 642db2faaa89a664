// SPDX-License-Identifier: MIT
// Systems of five equations by elimination with pivots, one for each thread.
// grid 24 group 8
// buffer 0: out float[120] ~= i % 5 - i // 5 / 4 within 2e-4
#include <metal_stdlib>
using namespace metal;

template <int N>
static bool solve(thread float (&m)[N][N + 1]) {
    for (int c = 0; c < N; ++c) {
        int pivot = c;
        for (int r = c + 1; r < N; ++r)
            if (fabs(m[r][c]) > fabs(m[pivot][c]))
                pivot = r;
        if (m[pivot][c] == 0)
            return false;
        for (int k = c; k <= N; ++k) {
            const float t = m[c][k];
            m[c][k] = m[pivot][k];
            m[pivot][k] = t;
        }
        for (int r = 0; r < N; ++r) {
            if (r == c)
                continue;
            const float f = m[r][c] / m[c][c];
            for (int k = c; k <= N; ++k)
                m[r][k] -= f * m[c][k];
        }
    }
    for (int r = 0; r < N; ++r)
        m[r][N] /= m[r][r];
    return true;
}

kernel void eliminate(device float* out [[buffer(0)]], uint id [[thread_position_in_grid]]) {
    float m[5][6];
    for (int r = 0; r < 5; ++r) {
        m[r][5] = 0;
        for (int c = 0; c < 5; ++c) {
            m[r][c] = float((r * 7 + c * 3 + id) % 11) - (r == c ? 17 : 2);
            m[r][5] += m[r][c] * (c - id / 4.0f);
        }
    }
    const bool solved = solve<5>(m);
    for (int r = 0; r < 5; ++r)
        out[5 * id + r] = solved ? m[r][5] : NAN;
}
