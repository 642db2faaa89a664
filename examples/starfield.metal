// Stars coming towards us. Nobody keeps a list of them: space is cut into cells, and a random
// number made from the cell says where in it a star is and what it looks like.

enum { layers = 7 };

float3 star(float2 cell, float2 inside, int layer) {
    uint seed = uint(int(cell.x) + 4096) * 8192 + uint(int(cell.y) + 4096) + layer * 67108864;
    uint dice = randomuint(seed);
    float2 place = 0.3 + 0.4 * float2(dice & 1023, (dice >> 10) & 1023) / 1023;
    float away = distance(inside, place);
    float size = 0.02 + 0.05 * float((dice >> 20) & 255) / 255;
    float3 tint = mix(float3(1, 0.75, 0.55), float3(0.65, 0.8, 1), float(dice >> 28) / 15);
    return tint * size * size / (away * away + 0.0004) * smoothstep(0.3, 0.05, away);
}

void fx() {
    float2 p = rotate2d((coords - resolution / 2) / resolution.y, time * 0.05);
    float3 color = float3(0.015, 0.02, 0.05) + 0.05 * float3(0.6, 0.3, 0.9) * exp(-4 * dot(p, p));
    for (int layer = 0; layer < layers; ++layer) {
        float near = fract(float(layer) / layers + time * 0.12); // 0 far away, 1 passing us
        // Turned a little differently, so that the cells of two layers never line up.
        float2 space = rotate2d(p, layer * 1.3) * mix(14.0, 0.7, near) + layer * 31.7;
        float fade = near * smoothstep(1.0, 0.85, near);
        color += fade * star(floor(space), fract(space), layer);
    }
    cls(color);
}
