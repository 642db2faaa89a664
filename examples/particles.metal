// 4096 particles, one for each core, drift on a slow wind and leave trails.
//
// Where they are must outlast the frame, so it is kept in memory. fx cannot look at 4096 particles
// for every pixel; instead each core leaves the number of the frame on a map of the screen, and
// fx looks for that number around its own pixel.

enum { particles = 0, counters = 65536, screenMap = 1048576 }; // addresses

float2 wind(float2 p) {
    p /= 110;
    return float2(sin(p.y * 1.3 + 0.7 * sin(p.x + time * 0.3)) + 0.4,
                  cos(p.x * 1.1 - 0.9 * sin(p.y * 0.8 - time * 0.2)));
}

void cpu() {
    // Each core counts frames for itself, so that nobody waits for anybody.
    uint frame = peek32<uint>(counters + core * 4) + 1;
    poke32(frame, counters + core * 4);

    float2 p = peek64<float2>(particles + core * 8);
    bool lost = any(p < 1) || any(p > resolution - 2);
    if (lost || randomuint() % 200 == 0)
        p = 2 + randomfloat2() * (resolution - 4);
    p += 2.2 * wind(p);
    poke64(p, particles + core * 8);

    if (all(p > 1) && all(p < resolution - 2))
        poke32(frame, screenMap + coordsToIndex(p) * 4);
}

void fx() {
    // What was here in the last frame, a little darker.
    float3 trail = lpix(coords).rgb * 0.965;

    uint frame = peek32<uint>(counters);
    float spark = 0;
    for (int y = -1; y <= 1; ++y) {
        for (int x = -1; x <= 1; ++x) {
            float2 neighbour = clamp(coords + float2(x, y), 0, resolution - 1);
            bool here = peek32<uint>(screenMap + coordsToIndex(neighbour) * 4) == frame;
            spark += here ? exp(-0.9 * (x * x + y * y)) : 0;
        }
    }
    float2 direction = normalize(wind(coords) + 0.001);
    float3 color = 0.5 + 0.5 * cos(atan2(direction.y, direction.x) + float3(0.3, 1.6, 3.1));
    cls(max(trail, color * spark));
}
