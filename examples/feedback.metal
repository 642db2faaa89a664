// A camera that films its own picture. lpix(p) is what the last frame showed at p; look at it a
// little closer and turned a little, add something new, and it grows by itself.

// lpix knows whole pixels only. Between them, this mixes the four that are nearest.
float3 film(float2 p) {
    float2 corner = floor(p);
    float2 t = p - corner;
    float3 above = mix(lpix(corner).rgb, lpix(corner + float2(1, 0)).rgb, t.x);
    float3 below = mix(lpix(corner + float2(0, 1)).rgb, lpix(corner + 1).rgb, t.x);
    return mix(above, below, t.y);
}

float3 hue(float angle) { return 0.52 + 0.48 * cos(angle + float3(0, 2.1, 4.2)); }

void fx() {
    float2 centre = resolution / 2;
    float2 zoomed = rotate2d((coords - centre) * 0.982, 0.014 + 0.008 * sin(time * 0.5));
    float2 from = clamp(centre + zoomed, 0, resolution - 2);
    cls(film(from) * float3(0.995, 0.991, 0.996)); // each colour fades at a pace of its own

    // New light to film: five beads on their way around the middle.
    for (int bead = 0; bead < 5; ++bead) {
        float2 orbit = float2(75 + 30 * sin(time * 3.1), 0);
        float2 p = centre + rotate2d(orbit, time * 2.2 + bead * 2 * pi / 5);
        circ(p, 14, float4(hue(time * 2.1 + bead * 0.5), 1));
    }
    circ(centre, 34 + 8 * sin(time * 5), float4(0.02, 0.02, 0.06, 1));
    circ(centre, 22 + 8 * sin(time * 5), float4(hue(2 - time * 1.4), 1));
}
