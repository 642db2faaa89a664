// Alpha is the blend mode that the machine starts in: what you draw covers what is there, as much
// as its alpha says. Sheets of paper, one over the other, each with a soft shadow.

void cpu() {
    registers[BlendMode] = Alpha;
}

void sheet(float2 p, float radius, float3 color) {
    // The shadow is nearly transparent, and more so the further it is from the sheet.
    float away = distance(coords, p + float2(4, 8)) - radius;
    if (away > -14 && away < 22) // further in, the sheet itself lies over it
        pix(float4(0.25, 0.1, 0.2, 0.38 * smoothstep(22.0, 0.0, away)), coords);
    circ(p, radius, float4(color, 1));
}

void fx() {
    cls(float3(0.95, 0.91, 0.84));
    for (int i = 0; i < 7; ++i) {
        float2 sway = 20 * float2(sin(time * 0.9 + i * 0.6), cos(time * 0.7 + i * 0.6));
        float3 color = 0.62 + 0.33 * cos(i * 0.5 + float3(5.2, 1.2, 2.6));
        sheet(resolution / 2 + sway, 240 - i * 33, color);
    }
    // Alpha 0.5 lets half of everything below shine through.
    rect(float2(-10, 300), float2(980, 60), float4(1, 1, 1, 0.5));
}
