// SPDX-License-Identifier: MIT
// Primes: each thread strikes out multiples in words of bits; a second kernel counts.
// run strike grid 15 group 15
// run count grid 8 group 8
// buffer 0: inout uint[8] = 0 == sum((not prime(32 * i + k) and 32 * i + k > 1) << k for k in range(32))
// buffer 1: out uint[8] == sum(prime(n) for n in range(32 * (i + 1)))
// python
// def prime(n): return n > 1 and all(n % d for d in range(2, isqrt(n) + 1))
// end
#include <metal_stdlib>
using namespace metal;

kernel void strike(device atomic_uint* composite [[buffer(0)]], uint id [[thread_position_in_grid]]) {
    const uint step = id + 2;
    for (uint n = 2 * step; n < 256; n += step)
        atomic_fetch_or_explicit(&composite[n / 32], 1u << n % 32, memory_order_relaxed);
}

kernel void count(device const uint* composite [[buffer(0)]], device uint* counts [[buffer(1)]],
                  uint id [[thread_position_in_grid]]) {
    uint n = 32 * (id + 1) - 2;
    for (uint k = 0; k <= id; ++k)
        n -= popcount(composite[k]);
    counts[id] = n;
}
