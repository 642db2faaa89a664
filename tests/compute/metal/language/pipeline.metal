// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A particle system as an application has it: a kernel that updates, a vertex and a fragment stage.
#include <metal_stdlib>
#include <simd/simd.h>
using namespace metal;

typedef enum { BufferIndexParticles = 0, BufferIndexUniforms = 1 } BufferIndex;
typedef struct {
    matrix_float4x4 projection;
    simd_float4x4 view;
    vector_float2 viewport;
    simd_uint2 tiles;
    float time;
} Uniforms;

struct Particle {
    packed_float3 position;
    float life;
    float2 velocity;
    half4 color;
};

static inline float rand(thread uint &seed) {
    seed = seed * 747796405u + 2891336453u;
    uint word = ((seed >> ((seed >> 28u) + 4u)) ^ seed) * 277803737u;
    word = (word >> 22u) ^ word;
    return float(word) / 4294967295.0;
}

kernel void updateParticles(device Particle *particles [[buffer(BufferIndexParticles)]],
                            constant Uniforms &u [[buffer(BufferIndexUniforms)]],
                            device atomic_uint *alive [[buffer(2)]],
                            uint id [[thread_position_in_grid]],
                            uint count [[threads_per_grid]])
{
    if (id >= count) { return; }
    uint seed = id ^ as_type<uint>(u.time);
    Particle p = particles[id];
    p.position += float3(p.velocity * 0.016, 0);
    p.velocity = p.velocity * 0.98 + (float2(rand(seed), rand(seed)) - 0.5) * 0.1;
    p.life -= 0.016;
    if (any(abs(float3(p.position).xy) > u.viewport)) {
        p.velocity *= -1;
    }
    float3 pos = p.position;
    p.color = half4(half3(normalize(pos)) * 0.5h + 0.5h, 1);
    if (p.life > 0) atomic_fetch_add_explicit(alive, 1, memory_order_relaxed);
    particles[id] = p;
}

struct VertexOut {
    float4 position [[position]];
    float pointSize [[point_size]];
    half4 color;
    float2 uv [[user(texturecoord)]];
};

vertex VertexOut particleVertex(const device Particle *particles [[buffer(0)]],
                                constant Uniforms &u [[buffer(1)]],
                                uint vid [[vertex_id]],
                                uint iid [[instance_id]])
{
    VertexOut out;
    float4 world = float4(float3(particles[vid].position), 1.0);
    out.position = u.projection * u.view * world;
    out.pointSize = clamp(10.0 / out.position.w, 1.0, 64.0);
    out.color = particles[vid].color;
    out.uv = world.xy;
    return out;
}

fragment half4 particleFragment(VertexOut in [[stage_in]],
                                float2 pointCoord [[point_coord]],
                                texture2d<half> tex [[texture(0)]],
                                sampler samp [[sampler(0)]])
{
    constexpr sampler s(mag_filter::linear, min_filter::linear, address::repeat);
    half4 t = tex.sample(s, in.uv) * tex.sample(samp, pointCoord);
    float d = distance(pointCoord, float2(0.5));
    if (d > 0.5) discard_fragment();
    return in.color * t * half(1.0 - smoothstep(0.3, 0.5, d));
}
