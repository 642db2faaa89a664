// SPDX-License-Identifier: MIT
// Numbers of 256 bits: sum with carry, product by schoolbook, and comparison.
// grid 16 group 16
// buffer 0: in uint[256] = (i * 2654435761 + i * i * 40503) & 0xffffffff
// buffer 1: out uint[128] == (number(i // 8) + number(i // 8 + 16)) >> 32 * (i % 8)
// buffer 2: out uint[256] == number(i // 16) * number(i // 16 + 16) >> 32 * (i % 16)
// buffer 3: out uint[16] == (number(i) < number(i + 16)) + 2 * (number(i) + number(i + 16) >= 2 ** 256)
// python
// def number(k): return sum(b0[8 * k + j] << 32 * j for j in range(8))
// end
#include <metal_stdlib>
using namespace metal;

constant constexpr int words = 8;

struct Big {
    uint word[words];
};

static Big load(device const uint* from) {
    Big b;
    for (int k = 0; k < words; ++k)
        b.word[k] = from[k];
    return b;
}

static bool add(thread Big& a, const Big b) {
    uint carry = 0;
    for (int k = 0; k < words; ++k) {
        const ulong sum = ulong(a.word[k]) + b.word[k] + carry;
        a.word[k] = uint(sum);
        carry = uint(sum >> 32);
    }
    return carry != 0;
}

static bool less(const Big a, const Big b) {
    for (int k = words - 1; k >= 0; --k)
        if (a.word[k] != b.word[k])
            return a.word[k] < b.word[k];
    return false;
}

kernel void big(device const uint* in [[buffer(0)]], device uint* sums [[buffer(1)]],
                device uint* products [[buffer(2)]], device uint* flags [[buffer(3)]],
                uint id [[thread_position_in_grid]]) {
    Big a = load(in + words * id);
    const Big b = load(in + words * (id + 16));
    flags[id] = less(a, b);
    uint product[2 * words] = {};
    for (int i = 0; i < words; ++i) {
        ulong carry = 0;
        for (int k = 0; k < words; ++k) {
            carry += ulong(a.word[i]) * b.word[k] + product[i + k];
            product[i + k] = uint(carry);
            carry >>= 32;
        }
        product[i + words] = uint(carry);
    }
    for (int k = 0; k < 2 * words; ++k)
        products[2 * words * id + k] = product[k];
    flags[id] |= add(a, b) ? 2 : 0;
    for (int k = 0; k < words; ++k)
        sums[words * id + k] = a.word[k];
}
