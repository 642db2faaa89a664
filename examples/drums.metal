// A drum machine. Each drum has sixteen steps for every bar, written as ones and noughts; change
// some and save. A song has no memory of what it played before, so every sound is worked out from
// the time since it was struck.

int4 music = {118, 4, 2, 2};

// The two bars of the pattern take turns.
uint kicks[2] = {0b1000'0010'1010'0000, 0b1000'0010'0010'0110};
uint snares[2] = {0b0000'1000'0000'1000, 0b0000'1000'0100'1001};
uint hats[2] = {0b1010'1010'1010'1010, 0b1010'1110'1010'1010};
uint bells[2] = {0b0010'0100'1001'0010, 0b0100'1001'0010'0100};

// How many steps ago a drum was struck, in this bar or the one before.
float stepsSince(uint bar0, uint bar1) {
    float position = audioTimer.barTime * 16;
    uint pattern = audioTimer.bar == 0 ? bar1 << 16 | bar0 : bar0 << 16 | bar1;
    uint played = pattern >> (15 - int(position)); // the last step played is the lowest bit
    for (int steps = 0; steps < 16; ++steps)
        if (played >> steps & 1)
            return steps + fract(position);
    return 1000;
}

float secondsSince(uint bar0, uint bar1) { return stepsSince(bar0, bar1) * 15 / music.x; }

// White noise that is the same in every round of the song.
float noise(uint at) { return float(randomuint(at) >> 8) / 8388608.0 - 1; }

float2 sfx() {
    float k = secondsSince(kicks[0], kicks[1]);
    float kick = sin(2 * pi * (48 * k + 6 * (1 - exp(-40 * k)))) * exp(-7 * k);

    float s = secondsSince(snares[0], snares[1]);
    float snare = noise(sample) * exp(-16 * s) + 0.7 * sin(2 * pi * 190 * s) * exp(-22 * s);

    // The difference of neighbours leaves the treble.
    float h = secondsSince(hats[0], hats[1]);
    float hat = (noise(sample) - noise(sample - 1)) * exp(-45 * h);

    float b = secondsSince(bells[0], bells[1]);
    float bell = sin(2 * pi * 587 * b + 1.5 * sin(2 * pi * 845 * b) * exp(-20 * b)) * exp(-14 * b);

    float middle = 0.62 * kick + 0.26 * snare;
    return middle + hat * float2(0.06, 0.1) + bell * float2(0.12, 0.06);
}

void drawRow(int row, uint bar0, uint bar1, float3 color) {
    float y = 122 + row * 92;
    float ring = exp(-0.7 * stepsSince(bar0, bar1));
    circ(float2(104, y + 26), 22 + 14 * ring, float4(color * (0.45 + 0.55 * ring), 1));

    // Of the sixteen squares only the one that this pixel can lie in matters.
    int step = clamp(int(coords.x - 172) / 46, 0, 15);
    bool struck = (audioTimer.bar == 0 ? bar0 : bar1) >> (15 - step) & 1;
    bool now = step == int(audioTimer.barTime * 16);
    float3 lit = struck ? color * 0.85 : float3(0.13, 0.13, 0.17);
    rect(float2(172 + step * 46, y), float2(38, 52), float4(now ? lit + 0.2 : lit, 1), 8);
}

void fx() {
    float kick = exp(-0.5 * stepsSince(kicks[0], kicks[1]));
    float glow = 1 - smoothstep(0.0, 800.0, length(coords - float2(104, 148)));
    cls(float3(0.07, 0.06, 0.09) + float3(0.2, 0.09, 0.07) * kick * glow);
    drawRow(0, kicks[0], kicks[1], float3(1, 0.45, 0.35));
    drawRow(1, snares[0], snares[1], float3(1, 0.8, 0.4));
    drawRow(2, hats[0], hats[1], float3(0.5, 0.9, 0.75));
    drawRow(3, bells[0], bells[1], float3(0.55, 0.7, 1));
    for (uint beat = 0; beat < 4; ++beat)
        rect(float2(172 + beat * 184, 92), float2(176, 6),
             float4(1, 1, 1, beat == audioTimer.beat ? 0.8 : 0.15), 3);
}
