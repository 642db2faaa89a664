// Mountains out of noise: a row of random heights, joined smoothly, with finer rows on top.

float heightAt(int x, int row) { // the same answer every time for the same place
    return float(randomuint(uint(x) * 747796405u + uint(row) * 2891336453u) >> 8) / 16777216.0;
}

float noise(float x, int row) {
    int left = int(floor(x));
    float t = x - left;
    return mix(heightAt(left, row), heightAt(left + 1, row), t * t * (3 - 2 * t));
}

float ridge(float x, int row) {
    float height = 0;
    float share = 0.55;
    for (int octave = 0; octave < 5; ++octave) {
        height += share * noise(x, row * 8 + octave);
        x *= 2.03;
        share *= 0.46;
    }
    return height;
}

void fx() {
    float2 sun = float2(475, 150);
    float3 dawn = mix(float3(0.24, 0.34, 0.56), float3(1, 0.72, 0.52), coords.y / 380);
    float glow = exp(-distance(coords, sun) / 140);
    cls(dawn + float3(0.5, 0.3, 0.12) * glow);
    circ(sun, 44, float4(1, 0.95, 0.82, 1));

    // Six ranges from far to near: lower, darker, larger, and faster as we fly past.
    for (int row = 0; row < 6; ++row) {
        float near = (row + 1) / 6.0;
        float x = coords.x * (0.0105 - 0.006 * near) + time * 0.6 * near * near + row * 71;
        float foot = 170 + 290 * near;
        float depth = coords.y - foot + (240 - 90 * near) * (ridge(x, row) - 0.35);
        if (depth < 0)
            continue;
        float3 rock = mix(float3(0.66, 0.55, 0.62), float3(0.05, 0.08, 0.14), near);
        float3 mist = mix(float3(0.95, 0.74, 0.62), float3(0.2, 0.3, 0.4), near);
        float3 color = mix(rock, mist, saturate((coords.y - foot + 50) / 170) * (0.9 - 0.5 * near));
        pix(float4(color, saturate(depth)), coords);
    }
}
