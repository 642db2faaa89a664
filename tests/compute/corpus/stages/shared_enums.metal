// SPDX-License-Identifier: MIT
// A header that host code reads, too: enumerations of a type of their own, declared by a macro in
// the form that names them twice, and structures with the host's names of types.
// run weights grid 8 group 8
// run blur grid 8x4 group 8x4
// buffer 0: in {uint uint float int}[1] = (8, 4, 1.5, 3)
// buffer 1: inout float[8] = 0 ~= exp(-i * i / 4.5) / (math.sqrt(2 * pi) * 1.5) if i <= 3 else 0
// texture 0: in 2d rgba32float 8x4 = (x * y, x, y, 1)
// texture 1: out 2d rgba32float 8x4 ~= [blurred(t0, x, y, c) for c in range(4)] within 1e-5
// python
// def blurred(t, x, y, c):
//     w = [math.exp(-k * k / 4.5) / (math.sqrt(2 * math.pi) * 1.5) for k in range(4)]
//     return sum(w[abs(k)] * t[min(max(x + k, 0), 7), y, 0, 0][c] for k in range(-3, 4))
// end
#include <metal_stdlib>
#include <simd/simd.h>

#pragma mark - Shared with the host

#ifdef __METAL_VERSION__
#define NS_ENUM(_type, _name) enum _name : _type _name; enum _name : _type
#define NSInteger metal::int32_t
typedef metal::int32_t EnumBackingType;
#else
#import <Foundation/Foundation.h>
typedef NSInteger EnumBackingType;
#endif

typedef NS_ENUM(EnumBackingType, BufferIndex) { BufferIndexUniforms = 0, BufferIndexWeights = 1 };
typedef NS_ENUM(NSInteger, TextureIndex) { TextureIndexSource = 0, TextureIndexTarget };
typedef struct {
    vector_uint2 size;
    float sigma;
    int radius;
} BlurUniforms;

#pragma mark - Kernels

using namespace metal;

kernel void weights(constant BlurUniforms &u [[buffer(BufferIndexUniforms)]],
                    device float *weights [[buffer(BufferIndexWeights)]],
                    uint i [[thread_position_in_grid]]) {
    if (int(i) > u.radius)
        return;
    weights[i] = exp(-0.5f * float(i * i) / (u.sigma * u.sigma)) / (sqrt(2.0f * M_PI_F) * u.sigma);
}

kernel void blur(texture2d<float, access::read> source [[texture(TextureIndexSource)]],
                 texture2d<float, access::write> target [[texture(TextureIndexTarget)]],
                 constant BlurUniforms &u [[buffer(BufferIndexUniforms)]],
                 constant float *weights [[buffer(BufferIndexWeights)]],
                 ushort2 gid [[thread_position_in_grid]]) {
    if (any(uint2(gid) >= u.size))
        return;
    float4 sum = source.read(gid) * weights[0];
    for (short k = 1; k <= u.radius; ++k) {
        const short2 last = short2(u.size) - 1;
        sum += weights[k] * source.read(ushort2(clamp(short2(gid) + short2(k, 0), short2(0), last)));
        sum += weights[k] * source.read(ushort2(clamp(short2(gid) - short2(k, 0), short2(0), last)));
    }
    target.write(sum, gid);
}
