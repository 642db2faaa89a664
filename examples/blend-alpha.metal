// Alpha is the blend mode that the machine starts in: what you draw covers what is there, as much
// as its alpha says. Paper cut-outs, one over the other, each with a soft shadow.

void cpu() {
    registers[BlendMode] = Alpha;
}

void fx() {
    cls(float3(0.95, 0.91, 0.84));
    for (int sheet = 0; sheet < 9; ++sheet) {
        float radius = 330 - sheet * 34;
        float2 sway = 22 * float2(sin(time * 0.9 + sheet * 0.6), cos(time * 0.7 + sheet * 0.6));
        float2 centre = resolution / 2 + sway;
        float3 color = 0.62 + 0.33 * cos(sheet * 0.45 + float3(5.2, 1.2, 2.6));

        // The shadow is the same circle, a little lower, nearly transparent, four times.
        for (int soft = 0; soft < 4; ++soft)
            circ(centre + float2(4, 7), radius + soft * 4, float4(0.2, 0.1, 0.15, 0.07));
        circ(centre, radius, float4(color, 1));
    }
    // Alpha 0.5 lets half of everything below shine through.
    rect(float2(0, 330), float2(resolution.x, 70), float4(1, 1, 1, 0.5));
}
