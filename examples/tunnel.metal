// A tunnel, the way it has been done since pictures moved on screens: the angle around the middle
// runs across the wall, and one over the distance from it runs along.

float plasma(float2 p) {
    return sin(p.x * 2 + sin(p.y * 3 + time)) + sin(p.y * 2.5 - cos(p.x * 4 - time * 0.7));
}

void fx() {
    // The middle sways, and the further in the more it does.
    float2 sway = float2(sin(time * 0.7), cos(time * 0.9)) * 0.12;
    float2 p = (coords - resolution / 2) / resolution.y - sway;
    float radius = max(length(p), 0.002);
    float angle = atan2(p.y, p.x) / pi; // -1 to 1 all the way around

    float2 wall = float2(angle * 6, 0.55 / radius + time * 1.6);
    float checker = step(0.5, fract(wall.x)) - step(0.5, fract(wall.y));
    float grout = smoothstep(0.0, 0.06, abs(fract(wall.x * 2) - 0.5)) *
                  smoothstep(0.0, 0.06, abs(fract(wall.y * 2) - 0.5));

    // sin(angle) and not the angle itself: it must fit where the wall closes.
    float glow = plasma(float2(sin(angle * pi) * 1.5, wall.y * 0.6));
    float3 color = 0.5 + 0.5 * cos(glow * 1.4 + wall.y * 0.25 + float3(0.2, 2.0, 3.6));
    color *= (checker == 0 ? 1.0 : 0.62) * mix(0.45, 1.0, grout);
    float fog = exp(-0.11 / radius);
    cls(mix(float3(1, 0.93, 0.82), color, fog) * saturate(0.45 + radius));
}
