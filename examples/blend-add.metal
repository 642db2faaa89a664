// Add makes light: colours are summed, so red and green and blue give white.
//
// Registers are bytes that change how the machine works. The cores set this one in every frame;
// the picture follows one frame later.

void cpu() {
    registers[BlendMode] = Add;
}

// A spotlight that is bright in the middle and soft towards its edge.
void spot(float2 p, float radius, float3 color) {
    float reach = saturate(1 - distance(coords, p) / radius);
    pix(float4(color * reach * (2 - reach), 0), coords);
}

void fx() {
    pix(float4(0.02, 0.02, 0.04, 1), coords);
    for (int light = 0; light < 3; ++light) {
        float angle = time * 0.6 + light * 2 * pi / 3;
        float2 p = resolution / 2 + 92 * float2(cos(angle), sin(angle));
        float3 color = float3(light == 0, light == 1, light == 2);
        spot(p, 235, color);
        circb(p, 233, float4(color * 0.35, 0), 3);
    }
    // Small lights on the way around them, each with a colour of its own.
    for (int spark = 0; spark < 12; ++spark) {
        float angle = spark * pi / 6 - time * 0.4;
        float2 p = resolution / 2 + float2(420 * cos(angle), 228 * sin(angle));
        spot(p, 34, 0.5 + 0.5 * cos(spark * pi / 6 + float3(0, 2, 4)));
    }
}
