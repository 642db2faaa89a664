// SPDX-License-Identifier: MIT
// Constants that the library names.
// grid 1 group 1
// buffer 0: out float[8] == (f32(pi), f32(e), 3.4028234663852886e38, 2**-23, 2**-126, inf, f32(sqrt(0.5)), nan)[i]
// buffer 1: out half[4] == (f16(pi), 65504, 2**-10, f16(e))[i]
// buffer 2: out int[6] == (2**31 - 1, -2**31, 127, -128, 32767, 23)[i]
// buffer 3: out uint[4] == (2**32 - 1, 65535, 255, 2**32 - 1)[i]
// buffer 4: out long[2] == (2**63 - 1, -2**63)[i]
#include <metal_stdlib>
using namespace metal;

kernel void constants(device float* a [[buffer(0)]], device half* b [[buffer(1)]],
                      device int* c [[buffer(2)]], device uint* d [[buffer(3)]],
                      device long* e [[buffer(4)]]) {
    const float floats[] = {M_PI_F,  M_E_F,    FLT_MAX,     FLT_EPSILON,
                            FLT_MIN, INFINITY, M_SQRT1_2_F, numeric_limits<float>::quiet_NaN()};
    for (int i = 0; i < 8; ++i)
        a[i] = floats[i];
    b[0] = M_PI_H;
    b[1] = HALF_MAX;
    b[2] = numeric_limits<half>::epsilon();
    b[3] = M_E_H;
    c[0] = INT_MAX;
    c[1] = numeric_limits<int>::lowest();
    c[2] = CHAR_MAX;
    c[3] = SCHAR_MIN;
    c[4] = SHRT_MAX;
    c[5] = FLT_MANT_DIG - 1;
    d[0] = UINT_MAX;
    d[1] = USHRT_MAX;
    d[2] = UCHAR_MAX;
    d[3] = numeric_limits<uint>::max();
    e[0] = LONG_MAX;
    e[1] = numeric_limits<long>::min();
}
