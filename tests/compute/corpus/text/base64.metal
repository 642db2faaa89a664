// SPDX-License-Identifier: MIT
// Bytes as base64, three to four, with padding at the end.
// grid 7 group 7
// buffer 0: in uchar[19] = (i * 83 + 5) % 256
// buffer 1: out uchar[28] == base64.b64encode(bytes(b0))[i]
// python
// import base64
// end
#include <metal_stdlib>
using namespace metal;

constant char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

kernel void encode(device const uchar* in [[buffer(0)]], device uchar* out [[buffer(1)]],
                   uint id [[thread_position_in_grid]]) {
    constexpr uint length = 19;
    uint word = 0;
    for (uint k = 0; k < 3; ++k)
        word = word << 8 | (3 * id + k < length ? in[3 * id + k] : 0);
    for (uint k = 0; k < 4; ++k)
        out[4 * id + k] = 3 * id + k > length ? '=' : alphabet[word >> (18 - 6 * k) & 63];
}
