// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Random numbers: a 32-bit integer hash of low bias, "lowbias32" by Chris Wellons, applied to
// the thread's seed again and again.

// Random numbers

uint randomuint(uint x) {
    x ^= x >> 16;
    x *= 0x7feb352dU;
    x ^= x >> 15;
    x *= 0x846ca68bU;
    x ^= x >> 16;
    return x;
}

uint randomuint() {
    randomSeed = randomuint(randomSeed);
    return randomSeed;
}

uint2 randomuint2() {
    uint x = randomuint();
    uint y = randomuint();
    return uint2(x, y);
}

uint3 randomuint3() {
    uint x = randomuint();
    uint y = randomuint();
    uint z = randomuint();
    return uint3(x, y, z);
}

uint4 randomuint4() {
    uint x = randomuint();
    uint y = randomuint();
    uint z = randomuint();
    uint w = randomuint();
    return uint4(x, y, z, w);
}

float randomfloat() {
    return float(randomuint()) / float(0xffffffffU);
}

float2 randomfloat2() {
    return float2(randomuint2()) / float(0xffffffffU);
}

float3 randomfloat3() {
    return float3(randomuint3()) / float(0xffffffffU);
}

float4 randomfloat4() {
    return float4(randomuint4()) / float(0xffffffffU);
}

