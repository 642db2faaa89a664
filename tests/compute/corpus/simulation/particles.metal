// SPDX-License-Identifier: MIT
// Particles that bounce in a box, with structures in device memory changed in place.
// grid 32 group 32
// buffer 0: inout {float2 float2 uint}[32] = (i / 8, 4 - i / 8, (i % 5 - 2), (i % 3) - 1.5, 0) == particle(i)
// buffer 1: in {float float2 uint}[1] = (0.5, 4, 4, 6)
// python
// def particle(i):
//     p, v, bounces = [i / 8, 4 - i / 8], [i % 5 - 2, i % 3 - 1.5], 0
//     for _ in range(6):
//         for k in (0, 1):
//             p[k] += v[k] * 0.5
//             if p[k] < 0: p[k] = -p[k]; v[k] = -v[k]; bounces += 1
//             elif p[k] > 4: p[k] = 8 - p[k]; v[k] = -v[k]; bounces += 1
//     return (*p, *v, bounces)
// end
#include <metal_stdlib>
using namespace metal;

struct Particle {
    float2 position;
    float2 velocity;
    uint bounces;
};
struct World {
    float step;
    float2 size;
    uint steps;
};

kernel void bounce(device Particle* particles [[buffer(0)]], constant World& world [[buffer(1)]],
                   uint id [[thread_position_in_grid]]) {
    device Particle& p = particles[id];
    for (uint k = 0; k < world.steps; ++k) {
        p.position += p.velocity * world.step;
        const bool2 low = p.position < 0, high = p.position > world.size;
        p.position = select(p.position, -p.position, low);
        p.position = select(p.position, 2 * world.size - p.position, high);
        const bool2 turned = low || high;
        p.velocity = select(p.velocity, -p.velocity, turned);
        p.bounces += uint(turned.x) + uint(turned.y);
    }
}
