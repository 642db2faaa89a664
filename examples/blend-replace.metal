// Replace puts down exactly what you draw, its alpha included. Drawing with alpha 0 is therefore a
// pair of scissors: a pixel that ends with alpha 0 is left out, and the dark shows through.

void cpu() {
    registers[BlendMode] = Replace;
}

void cut(bool here) {
    if (here)
        cls(float4(0));
}

void fx() {
    float ray = atan2(coords.y - resolution.y / 2, coords.x - resolution.x / 2) / pi;
    float sunburst = step(0.5, fract(ray * 12 + time * 0.1));
    cls(mix(float3(0.86, 0.3, 0.28), float3(0.95, 0.45, 0.34), sunburst));

    // A paper snowflake: fold the sheet into twelve, cut once, and unfold. Folding means that all
    // twelve parts look up the same place.
    float2 p = rotate2d(coords - resolution / 2, time * 0.15);
    float angle = abs(fract(atan2(p.y, p.x) / (pi / 3)) - 0.5) * pi / 3;
    float2 q = length(p) * float2(cos(angle), sin(angle));
    float breath = 6 * sin(time * 1.5);

    circ(resolution / 2, 252, float4(0.99, 0.95, 0.88, 1));
    cut(length(p) < 22 + breath);
    cut(distance(q, float2(240, 66)) < 26 && length(p) < 253);
    cut(distance(q, float2(66, 0)) < 14);
    cut(abs(q.x - 140) + q.y * 2.6 < 40 + breath);
    cut(distance(q, float2(205, 0)) < 16 - breath);
    cut(distance(q, float2(112, 46)) < 10 + breath / 2);
    cut(distance(q, float2(182, 52)) < 17 - breath / 2);
    cut(q.x > 236 && length(p) < 253 && q.y < 14);
}
