// Picture and sound in step. The first line sets the tempo; audioTimer then knows which beat, bar
// and pattern it is, and how far into each of them we are, from 0 to 1.

int4 music = {124, 4, 4, 2};

float kick(float t) { return exp(-7 * t); } // how hard the drum is still ringing

float3 hue(float angle) { return 0.55 + 0.45 * cos(angle + float3(0, 2.1, 4.2)); }

void fx() {
    float hit = kick(audioTimer.beatTime);
    float turn = audioTimer.barTime * pi / 2;
    float2 centre = resolution / 2;
    float2 p = coords - centre;
    float mood = audioTimer.bar * 0.9 + audioTimer.pattern * 2;

    // Rays from the middle, one more than the bar has beats.
    float rays = smoothstep(0.1, 0.0, sin(atan2(p.y, p.x) * 8 + turn * 4));
    float shade = 0.12 + 0.05 * rays + 0.12 * hit * exp(-length(p) / 260);
    cls(hue(mood + 3) * shade);

    // Rings travel outwards with the beat.
    for (int ring = 0; ring < 5; ++ring) {
        float age = (ring + audioTimer.beatTime) / 5;
        circb(centre, 90 + 330 * age, float4(hue(mood + age * 2), 1 - age), 14 * (1 - age));
    }
    // The beats of this bar: the one that sounds is lit.
    for (uint beat = 0; beat < 4; ++beat) {
        float2 spoke = rotate2d(float2(0, -150), beat * pi / 2 + turn);
        bool now = beat == audioTimer.beat;
        circ(centre + spoke, now ? 20 + 18 * hit : 14, float4(hue(mood + beat), now ? 1 : 0.5));
    }
    float size = 62 + 34 * hit;
    for (int layer = 0; layer < 3; ++layer) {
        float2 corner = rotate2d(float2(0, -size * (1 - 0.28 * layer)), -turn * 2 + layer * 0.5);
        tri(centre + corner, centre + rotate2d(corner, 2 * pi / 3),
            centre + rotate2d(corner, 4 * pi / 3), float4(hue(mood + 0.7 * layer), 0.9));
    }
}

float2 sfx() {
    float beatLength = 60.0 / music.x;
    float t = audioTimer.beatTime * beatLength; // seconds since the beat
    float drum = sin(2 * pi * (45 * t + 9 * (1 - exp(-t * 28)))) * kick(audioTimer.beatTime);

    float sixteenth = fract(audioTimer.beatTime * 4);
    float hiss = float(randomuint(sample) >> 8) / 8388608.0 - 1;
    float hat = hiss * exp(-18 * sixteenth) * (audioTimer.beatTime > 0.5 ? 0.16 : 0.05);

    float root = audioTimer.bar < 2 ? 55 : audioTimer.bar == 2 ? 65.41 : 49;
    float phase = fract(root * time);
    float bass = (phase + fract(root * 1.005 * time) - 1) * (1 - kick(audioTimer.beatTime * 0.7));
    return 0.55 * drum + 0.16 * bass + float2(hat, hat * 0.8);
}
