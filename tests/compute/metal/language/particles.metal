// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Buffers of structures, atomics, shared memory and barriers.
#include <metal_stdlib>
using namespace metal;

struct Particle {
    float2 position, velocity;
    packed_float3 color;
    ushort flags;
    uchar kind;
    bool alive;
    bool isFast() const device { return length(velocity) > 1; }
};
struct Settings { float dt; float4 bounds; float curve[8]; };
struct Counters { atomic_uint alive; atomic_int balance; atomic<float> energy; };

static void bounce(device Particle& p, const device Particle* all, constant Settings& s) {
    bool2 out = p.position < s.bounds.xy || p.position > s.bounds.zw;
    p.velocity = select(p.velocity, -p.velocity, out) + (all[1].position - p.position) * s.curve[7];
    p.position = clamp(p.position, s.bounds.xy, s.bounds.zw);
}

kernel void update(device Particle* particles [[buffer(0)]], constant Settings& settings [[buffer(1)]],
                   device Counters* counters [[buffer(2)]], device atomic_uint* histogram [[buffer(3)]],
                   uint id [[thread_position_in_grid]]) {
    device Particle& p = particles[id];
    p.velocity *= exp(-settings.dt);
    bounce(p, particles, settings);
    p.alive = !p.isFast();
    p.color = mix(float3(p.color), float3(1, 0.5, 0), settings.dt);
    p.color.x *= .99;
    p.flags |= 1 << 3;
    p.flags ^= ushort(p.kind);
    Particle copy = p;
    copy.position.x = fma(copy.position.x, 2, 1);
    atomic_fetch_add_explicit(&counters->alive, 1, memory_order_relaxed);
    atomic_fetch_sub_explicit(&counters[0].balance, int(id), memory_order_relaxed);
    atomic_fetch_add_explicit(&counters->energy, dot(p.velocity, p.velocity), memory_order_relaxed);
    uint bin = uint(saturate(length(copy.position)) * 255);
    atomic_store_explicit(histogram + bin, 1u << (id & 31), memory_order_relaxed);
    uint expected = atomic_load_explicit(histogram, memory_order_relaxed);
    while (!atomic_compare_exchange_weak_explicit(histogram, &expected, expected * 2,
                                                  memory_order_relaxed, memory_order_relaxed)) {
    }
    atomic_exchange_explicit((device atomic_int*)particles, 1, memory_order_relaxed);
}

kernel void reduce(device float* data [[buffer(0)]], threadgroup float* shared [[threadgroup(0)]],
                   uint id [[thread_position_in_grid]], uint local [[thread_index_in_threadgroup]],
                   uint width [[threads_per_threadgroup]]) {
    shared[local] = data[id];
    threadgroup_barrier(mem_flags::mem_threadgroup);
    for (uint s = width / 2; s > 0; s >>= 1)
        if (local < s)
            shared[local] += shared[local + s];
    threadgroup_barrier(mem_flags::mem_threadgroup | mem_flags::mem_device);
    data[id] = shared[0];
}
