// A synthesiser. sfx is asked for every sample of the song, 48000 for each second, and answers
// with the loudness at the left and at the right, from -1 to 1. The song is computed once and then
// plays in a loop. To show it, the cores ask for the samples that are about to sound.

int4 music = {100, 4, 2, 2};

float frequency(float note) { return 440 * exp2((note - 69) / 12); } // 69 is the A of the orchestra

// A softer cousin of the sawtooth: the first overtones only, each weaker than the one before.
float reed(float f, float brightness) {
    float phase = 2 * pi * fract(f * time);
    float wave = 0;
    float loudness = 1;
    for (int overtone = 1; overtone <= 5; ++overtone) {
        wave += loudness / overtone * sin(phase * overtone);
        loudness *= brightness;
    }
    return wave;
}

float2 sfx() {
    int chords[4] = {57, 53, 60, 55}; // A, F, C, G: one for each bar
    int shape[4] = {0, 7, 12, 16};
    uint bar = audioTimer.bar + 2 * audioTimer.pattern;
    float root = chords[bar];
    float minorThird = bar == 0 ? 1 : 0; // A is the only minor one

    // Strings that swell over the bar, a little out of tune left and right.
    float swell = 0.09 * sin(pi * audioTimer.barTime);
    float2 pad = 0;
    for (int voice = 0; voice < 4; ++voice) {
        float note = root + shape[voice] - (voice == 3 ? minorThird : 0);
        pad += float2(reed(frequency(note + 0.04), 0.5), reed(frequency(note - 0.04), 0.5)) * swell;
    }
    // Sixteen picked notes a bar that walk from side to side.
    float step = audioTimer.barTime * 16;
    int which = int(step) * 3 % 4;
    float picked = root + 12 + shape[which] - (which == 3 ? minorThird : 0);
    float pick = reed(frequency(picked), 0.3) * exp(-5 * fract(step)) * 0.16;
    float side = 0.5 + 0.4 * sin(step * 0.8);
    return pad + pick * float2(1 - side, side);
}

// One core for each column of the screen, and one to spare. sfx is a function like any other: give
// it a sample number, bring the timers up to date, and ask.
void cpu() {
    if (core > resolution.x)
        return;
    uint length = uint(60.0 / music.x * sampleRate) * music.y * music.z * music.w;
    sample = (sample + core * 3) % length;
    time = float(sample) / sampleRate;
    genAudioTimers();
    poke64(sfx(), core * 8);
}

void fx() {
    cls(mix(float3(0.05, 0.07, 0.13), float3(0.1, 0.06, 0.16), coords.y / resolution.y));

    // The wave from this column to the next, left channel above, right channel below.
    float2 here = peek64<float2>(int(coords.x) * 8);
    float2 next = peek64<float2>(int(coords.x) * 8 + 8);
    for (int side = 0; side < 2; ++side) {
        float axis = side == 0 ? 180 : 360;
        float top = axis - 170 * max(here[side], next[side]);
        float bottom = axis - 170 * min(here[side], next[side]);
        float away = max(max(top - coords.y, coords.y - bottom), 0.0);
        float3 color = side == 0 ? float3(0.4, 0.85, 0.8) : float3(0.98, 0.6, 0.5);
        pix(float4(color, exp(-away / 14) * 0.25), coords); // glow
        pix(float4(color, 1 - smoothstep(1.0, 2.5, away)), coords);
    }
    // How far the bar has come.
    rect(float2(60, 500), float2(840, 6), float4(1, 1, 1, 0.12), 3);
    rect(float2(60, 500), float2(840 * audioTimer.barTime, 6), float4(1, 0.85, 0.6, 0.8), 3);
}
