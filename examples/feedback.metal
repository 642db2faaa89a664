// A camera that films its own picture. lpix(p) is what the last frame showed at p; look at it a
// little closer and turned a little, add something new, and it grows by itself.

float3 hue(float angle) {
    return 0.5 + 0.5 * cos(angle + float3(0, 2.1, 4.2));
}

void fx() {
    float2 centre = resolution / 2;
    float2 from = centre + rotate2d((coords - centre) * 0.975, 0.012 + 0.01 * sin(time * 0.5));
    float3 old = lpix(from).rgb;
    cls(old * float3(0.985, 0.98, 0.988));

    // New light to film: three beads on their way around the middle.
    for (int bead = 0; bead < 3; ++bead) {
        float angle = time * 1.7 + bead * 2 * pi / 3;
        float2 p = centre + rotate2d(float2(90 + 40 * sin(time * 2.3), 0), angle);
        circ(p, 13, float4(hue(time * 1.3 + bead * 0.9), 1));
        circb(p, 20, float4(0.02, 0.02, 0.05, 0.9), 5);
    }
    // And a frame in the dark, so that something comes in from the edge of the middle too.
    circ(centre, 24 + 6 * sin(time * 5), float4(hue(-time), 1));
}
