// In YUV mode a colour is a brightness and two differences: Y from 0 to 1 says how bright, U how
// far to blue or yellow, V how far to red or green, both from about -0.5 to 0.5. Turning U and V
// changes the hue and leaves the brightness as it is: squint, and the petals melt into one.

void cpu() {
    registers[ColorMode] = YUV;
}

void fx() {
    float2 p = (coords - resolution / 2) / 270;
    float radius = length(p);
    float angle = atan2(p.y, p.x);

    float petal = 0.62 + 0.2 * cos(angle * 7 + 2 * sin(time * 0.6) - radius * 3);
    float inside = smoothstep(petal + 0.01, petal - 0.01, radius);
    float rings = 0.5 + 0.5 * cos(radius * 34 - time * 3);

    float brightness = mix(0.13 + 0.1 * (1 - radius * 0.7), 0.56 + 0.06 * rings, inside);
    float colorfulness = mix(0.05, 0.26 * smoothstep(0.02, 0.2, radius), inside);
    float2 uv = colorfulness * float2(cos(angle + time), sin(angle + time));
    uv = rotate2d(uv, 1.5 * rings * inside);
    cls(float3(brightness, uv));
}
