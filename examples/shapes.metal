// A postcard made of every shape that the console draws, with a little tune.
//
// All three entry functions are at work: the cores move the balloons, fx draws the picture, and
// sfx plays. Whatever you declare out here belongs to your machine and is seen by all three.

int4 music = {96, 4, 2, 2}; // beats a minute, beats a bar, bars a pattern, patterns

enum { balloonCount = 5 };

// A balloon is four floats in memory: where it is (x, y) and how fast it drifts (z, w).
float4 balloon(int index) { return peek128<float4>(index * 16); }

void cpu() {
    // 4096 cores run this once a frame. The first five have a balloon to look after.
    if (core >= balloonCount)
        return;
    float4 b = balloon(core);
    if (b.x == 0) // memory starts out as zeros
        b = float4(150 + 165 * core, 120 + 45 * (core * 2 % 5), 0.3 + 0.1 * core, 0);

    b.xy += b.zw;
    b.w = 0.25 * sin(time + core);
    if (b.x < 60 || b.x > resolution.x - 60)
        b.z = -b.z;
    poke128(b, core * 16);
}

float3 balloonColor(int index) {
    return 0.6 + 0.4 * cos(index * 2.4 + float3(0, 2.1, 4.2));
}

void drawBalloon(int index) {
    float2 p = balloon(index).xy;
    if (distance(coords, p + float2(0, 25)) > 75) // too far away to matter for this pixel
        return;
    float3 color = balloonColor(index);
    trib(p + float2(-30, 24), p + float2(30, 24), p + float2(0, 80), float4(0.3, 0.2, 0.2, 1));
    elli(p, float2(38, 46), float4(color, 1));
    elli(p, float2(16, 46), float4(color * 0.8, 1));
    ellib(p, float2(38, 46), float4(color * 0.5, 1), 2);
    rect(p + float2(-12, 62), float2(24, 19), float4(0.55, 0.35, 0.2, 1), 3);
}

void drawSun(float2 p) {
    for (int ring = 3; ring > 0; --ring)
        circb(p, 62 + ring * (18 + 3 * sin(time * 2)), float4(1, 0.95, 0.8, 0.5 / ring), 4);
    circ(p, 62, float4(1, 0.93, 0.66, 1));
}

void drawHouse(float2 p) {
    rect(p, float2(120, 80), float4(0.94, 0.9, 0.82, 1));
    tri(p + float2(-14, 0), p + float2(134, 0), p + float2(60, -58), float4(0.72, 0.3, 0.24, 1));
    rect(p + float2(70, 32), float2(28, 48), float4(0.4, 0.28, 0.24, 1));
    rect(p + float2(20, 26), float2(30, 28), float4(0.98, 0.83, 0.45, 1), 2);
    rectb(p + float2(20, 26), float2(30, 28), float4(0.4, 0.28, 0.24, 1), 2, 2);
}

void drawMill(float2 p) {
    tri(p + float2(0, -30), p + float2(-26, 100), p + float2(26, 100), float4(0.9, 0.86, 0.8, 1));
    for (int sail = 0; sail < 4; ++sail) {
        float angle = time * 0.8 + sail * pi / 2;
        float2 tip = p + rotate2d(float2(0, -78), angle);
        float2 side = p + rotate2d(float2(16, -70), angle);
        tri(p, tip, side, float4(1, 1, 1, 0.75));
        line(p, tip, float4(0.35, 0.25, 0.22, 1), 3);
    }
    circ(p, 6, float4(0.35, 0.25, 0.22, 1));
}

void fx() {
    // coords is the pixel that this run of fx is about; y grows downwards.
    float dusk = smoothstep(0, resolution.y, coords.y);
    cls(mix(float3(0.35, 0.6, 0.82), float3(1, 0.82, 0.66), dusk));
    drawSun(float2(690, 170));
    for (int index = 0; index < balloonCount; ++index)
        drawBalloon(index);

    elli(float2(240, 660), float2(560, 290), float4(0.42, 0.62, 0.45, 1));
    drawMill(float2(395, 335));
    elli(float2(800, 690), float2(600, 280), float4(0.3, 0.52, 0.4, 1));
    drawHouse(float2(660, 360));

    elli(float2(330, 490), float2(130, 26), float4(0.62, 0.8, 0.9, 1));
    ellib(float2(330, 490), float2(60 + 50 * fract(time / 2), 16), float4(1, 1, 1, 0.5), 1);
}

float2 sfx() {
    // Eight plucked notes a bar. barTime runs from 0 to 1 over each bar.
    int tune[8] = {0, 7, 12, 16, 19, 16, 12, 7};
    float eighth = audioTimer.barTime * 8;
    float frequency = 165 * exp2((tune[int(eighth)] + 5 * (audioTimer.bar % 2)) / 12.0);
    float pluck = sin(2 * pi * frequency * time) * exp(-4 * fract(eighth));
    return float2(0.2 * pluck);
}
