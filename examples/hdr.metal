// Brighter than white. With the HDR register set, colours above 1 go to the display as they are; a
// screen that can do it shows them brighter than its white, every other one cuts them off.

void cpu() {
    registers[HDR] = 1;
    registers[BlendMode] = Add;
}

void fx() {
    float horizon = resolution.y * 0.62;
    bool water = coords.y > horizon;
    // The lower part is a mirror with ripples in it.
    float depth = coords.y - horizon;
    float ripple = water ? sin(depth * 0.9 - time * 3 + 4 * sin(coords.x / 60)) * depth * 0.045 : 0;
    float2 p = water ? float2(coords.x + ripple * 3, horizon - depth + ripple) : coords;

    float3 light = mix(float3(0.01, 0.015, 0.05), float3(0.10, 0.045, 0.09), p.y / horizon);
    for (int lantern = 0; lantern < 9; ++lantern) {
        float phase = lantern * 2.399; // the golden angle spreads them out
        float2 q = float2(70 + 103 * lantern + 20 * sin(time * 0.5 + phase),
                          170 + 85 * sin(phase * 2) - 12 * sin(time + phase));
        float3 color = mix(float3(1, 0.42, 0.12), float3(1, 0.7, 0.3), 0.5 + 0.5 * sin(phase * 3));
        float away = distance(p, q);
        light += color * 4.0 / (1 + away * away / 60); // 4 in the middle: four times white
    }
    cls(float4(light * (water ? 0.7 : 1.0), 1));
}
