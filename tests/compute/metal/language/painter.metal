// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Classes with methods, templates over octaves, function constants, a texture read and written.
#include <metal_stdlib>
using namespace metal;
namespace noise {
    constexpr constant static uchar perm[16] = {151,160,137,91,90,15,131,13,201,95,96,53,194,233,7,225};
    template <typename T> T fade(T t) { return t * t * t * (t * (t * 6 - 15) + 10); }
    inline float hash(float2 p) { return fract(sin(dot(p, float2(12.9898, 78.233))) * 43758.5453123); }
    float value(float2 p) {
        float2 i = floor(p), f = fract(p);
        float2 u = fade(f);
        return mix(mix(hash(i), hash(i + float2(1, 0)), u.x),
                   mix(hash(i + float2(0, 1)), hash(i + 1), u.x), u.y);
    }
    template <int Octaves> float fbm(float2 p) {
        float a = 0.5, s = 0;
        float2x2 m = float2x2(float2(1.6, 1.2), float2(-1.2, 1.6));
        for (int i = 0; i < Octaves; ++i) { s += a * value(p); p = m * p; a *= .5; }
        return s;
    }
}
enum class Mode : uint { Plain, Warped = 3 };
struct Params { float scale; Mode mode; bool invert; uint3 dims; float3x3 xf; };
class Painter {
public:
    Painter(thread const Params& p, float2 uv) : params(p), m_uv(uv) {}
    float4 paint() const thread {
        float v = params.mode == Mode::Warped ? noise::fbm<5>(m_uv + noise::fbm<3>(m_uv)) : noise::fbm<6>(m_uv);
        if (params.invert) v = 1 - v;
        return float4(float3(v), 1);
    }
private:
    Params params;
    float2 m_uv;
};
constant bool useColor [[function_constant(0)]];
constant float gain [[function_constant(1)]];
constant bool gainDefined = is_function_constant_defined(gain);
kernel void paint(texture2d<half, access::read_write> t [[texture(0)]],
                  constant Params& params [[buffer(0)]],
                  ushort2 tid [[thread_position_in_threadgroup]],
                  ushort2 gid [[thread_position_in_grid]],
                  uint2 size [[threads_per_grid]]) {
    Params local = params;
    float3 h = params.xf * float3(float2(gid) / float2(size), 1);
    Painter painter(local, h.xy * params.scale);
    float4 c = painter.paint();
    if (useColor) c.rgb *= c.bgr + float3(.1, .2, .3);
    if (gainDefined) c *= gain;
    half4 old = t.read(gid);
    t.write(max(half4(c), old * 0.98h), gid);
}
