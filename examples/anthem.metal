// A whole song in four patterns: the intro, the verse, the chorus, and the end that leads back to the
// beginning. Each instrument is a function of the sample that it is asked for, so that an echo is
// nothing but the same function, asked for an earlier one.

int4 music = {108, 4, 4, 4};

// --- The score

// The chord of each bar: D minor, B flat, F, C. Keys of the lowest note, and the notes above it.
static constexpr constant int roots[4] = {38, 34, 41, 36};
static constexpr constant int chords[12] = {50, 57, 65, 50, 58, 65, 48, 57, 65, 48, 55, 64};

// The tune of the chorus, two bars of eighths; 0 holds on to the note before.
static constexpr constant int tune[32] = {74, 0, 0, 72, 74, 0, 77, 0,  74, 0, 72, 0, 70, 0, 0, 0,
                                          72, 0, 0, 70, 72, 0, 76, 0, 79, 0, 77, 0, 76, 0, 72, 0};

// Which instrument plays in which of the sixteen bars, the first one on the left.
enum { Drums, Bass, Strings, Harp, Tune, instruments };
static constexpr constant uint arrangement[5] = {
    0b0001'1111'1111'1110, // drums
    0b0000'1111'1111'1000, // bass
    0b1111'1111'1111'1111, // strings
    0b0011'1111'0000'1111, // harp
    0b0000'0000'1111'1100, // tune
};

bool plays(int instrument, uint bar) { return arrangement[instrument] >> (15 - bar) & 1; }

// --- Time. A position in the song is a number of samples; positions before the start belong to the
// end, so that echoes go round with the song.

uint beatLength() { return uint(48000 * 60.0 / music.x); }
uint wrapped(int at) { return uint(at < 0 ? at + int(64 * beatLength()) : at); }
uint barAt(uint at) { return at / (beatLength() * 4) % 16; }

// Eighths since the bar began, with their fraction.
float eighthAt(uint at) { return at % (beatLength() * 4) / (beatLength() * 0.5); }

// A turn of a wave is counted in whole numbers that wrap around without an error: it stays in tune
// however long the song is, which float(at) / 48000 does not.
float turn(float hertz, uint at) { return uint(hertz * 89478.485) * at / 4294967296.0; }
float pitch(float key) { return 440 * exp2((key - 69) / 12); }
float sine(float hertz, uint at) { return sin(2 * pi * turn(hertz, at)); }

// A sawtooth whose edge is as soft as the pitch asks for.
float saw(float hertz, uint at) {
    float t = turn(hertz, at);
    float edge = hertz / 7000;
    return t < 1 - edge ? 2 * t / (1 - edge) - 1 : 1 - 2 * (t - 1 + edge) / edge;
}

float noise(uint at) { return float(randomuint(at + 1) >> 8) / 8388608.0 - 1; }

// How loud a note is that began `since` seconds ago and lasts for `length`: never a click.
float envelope(float since, float length, float fade) {
    return smoothstep(0.0, 0.006, since) * exp(-fade * since) *
           (1 - smoothstep(length - 0.02, length, since));
}

// --- The instruments

float eighth() { return beatLength() / 96000.0; } // seconds

float kickAt(uint at) { // seconds since the last one
    return at % beatLength() / 48000.0;
}

float2 drums(uint at) {
    uint bar = barAt(at);
    if (!plays(Drums, bar))
        return 0;
    float k = kickAt(at);
    float kick = sin(2 * pi * (47 * k + 5 * (1 - exp(-32 * k)))) * exp(-8 * k);
    bool back = at / beatLength() % 2 == 1;
    float snare = back ? (noise(at) * exp(-17 * k) + 0.6 * sin(2 * pi * 185 * k) * exp(-24 * k)) : 0;
    float h = fract(eighthAt(at)) * eighth();
    float hat = (noise(at) - noise(at - 1)) * exp(-50 * h) * (int(eighthAt(at)) % 2 == 1 ? 1 : 0.4);
    // The last bar before the chorus and before the end is a roll that grows.
    float roll = 0;
    if (bar == 7 || bar == 11) {
        float s = fract(eighthAt(at) * 2);
        float grow = eighthAt(at) / 8;
        roll = noise(at) * exp(-9 * s) * grow * grow;
    }
    return 0.42 * kick + 0.2 * snare + 0.16 * roll + hat * float2(0.05, 0.035);
}

float bass(uint at) {
    if (!plays(Bass, barAt(at)))
        return 0;
    float step = eighthAt(at);
    float since = fract(step) * eighth();
    int key = roots[barAt(at) % 4] + (int(step) % 4 == 3 ? 12 : 0);
    float wave = 0.7 * sine(pitch(key), at) + 0.3 * saw(pitch(key), at) * exp(-7 * since);
    float duck = smoothstep(0.0, 0.16, kickAt(at)); // makes room for the drum
    return 0.25 * wave * envelope(since, eighth(), 1.5) * (plays(Drums, barAt(at)) ? duck : 1.0);
}

float2 strings(uint at) {
    uint bar = barAt(at);
    float along = eighthAt(at) / 8;
    // Each chord swells, and its tail is gone when the next one comes.
    float swell = smoothstep(0.0, 0.2, along) * (1 - smoothstep(0.86, 1.0, along));
    float2 sum = 0;
    for (int voice = 0; voice < 3; ++voice) {
        float key = chords[bar % 4 * 3 + voice];
        sum += float2(saw(pitch(key + 0.06), at) + sine(pitch(key), at),
                      saw(pitch(key - 0.06), at) + sine(pitch(key), at));
    }
    bool verse = bar / 4 == 1;
    return sum * swell * (verse ? 0.045 : 0.06);
}

float harp(uint at) {
    uint bar = barAt(at);
    if (!plays(Harp, bar))
        return 0;
    float step = eighthAt(at) * 2; // sixteenths
    int which = int(step) * 5 % 6;
    float key = chords[bar % 4 * 3 + which % 3] + 12 + 12 * (which / 3);
    float since = fract(step) * eighth() / 2;
    float string = sine(pitch(key), at) + 0.35 * sine(2 * pitch(key), at) * exp(-20 * since);
    return 0.15 * string * envelope(since, eighth() / 2, 9);
}

float lead(uint at) {
    uint bar = barAt(at);
    if (!plays(Tune, bar))
        return 0;
    int step = int(eighthAt(at)) + 8 * int(bar % 4);
    int held = 0; // eighths that the note has lasted already
    while (tune[step - held] == 0)
        ++held;
    int last = step + 1;
    while (last < 32 && tune[last] == 0)
        ++last;
    float since = (held + fract(eighthAt(at))) * eighth();
    float length = (last - step + held) * eighth();
    float f = pitch(tune[step - held]);
    float wave = 0.5 * saw(f, at) + 0.5 * saw(f * 1.003, at) + 0.4 * sine(f / 2, at);
    return 0.17 * wave * envelope(since, length, 0.8);
}

float2 sfx() {
    uint at = sample;
    int delay = int(beatLength() * 3 / 4); // three sixteenths
    float2 out = drums(at) + bass(at) + strings(at);
    out += float2(0.6, 0.4) * harp(at) + lead(at);
    out += float2(0.1, 0.4) * harp(wrapped(int(at) - delay));
    out += float2(0.35, 0.15) * lead(wrapped(int(at) - delay));
    out += float2(0.1, 0.2) * lead(wrapped(int(at) - 2 * delay));
    return out * 0.8;
}

// --- The picture: a sun over the sea that moves with the song, and the score below it.

uint barNow() { return audioTimer.pattern * 4 + audioTimer.bar; }

void drawScore() {
    int bar = int((coords.x - 60) / 52.5); // the only one that this pixel can lie in
    int row = int((coords.y - 430) / 19);
    if (bar < 0 || bar > 15 || coords.x < 60 || coords.y < 430 || row >= instruments)
        return;
    float3 color = 0.6 + 0.4 * cos(row * 0.8 + float3(0, 2.1, 4.2));
    bool now = uint(bar) == barNow();
    float lit = plays(row, bar) ? (now ? 1.3 - 0.4 * audioTimer.beatTime : 0.75) : 0.12;
    rect(float2(62 + bar * 52.5, 432 + row * 19), float2(48, 14), float4(color * lit, 1), 4);
    float head = 60 + (barNow() + audioTimer.barTime) * 52.5;
    line(float2(head, 430), float2(head, 526), float4(1, 1, 1, 0.8), 1);
}

void fx() {
    bool drumming = plays(Drums, barNow());
    float hit = drumming ? exp(-5 * audioTimer.beatTime) : 0;
    float day = 0.5 - 0.5 * cos(2 * pi * (barNow() + audioTimer.barTime) / 16); // noon in the chorus
    float horizon = 270;

    float3 high = mix(float3(0.06, 0.03, 0.2), float3(0.2, 0.35, 0.75), day);
    float3 low = mix(float3(0.55, 0.16, 0.35), float3(1, 0.7, 0.45), day);
    float2 p = coords;
    float deep = p.y - horizon;
    float ripple = 0;
    if (deep > 0) { // the sea shows the sky upside down
        ripple = sin(1200 / (deep + 12) + time * 3) * sin(p.x * 3 / (deep + 20) + time);
        p = float2(p.x + ripple * deep * 0.12, horizon - deep * (1.2 + 0.2 * ripple));
    }
    float3 color = mix(high, low, saturate(p.y / horizon));
    float2 sun = float2(480, horizon - 10 - 150 * day);
    float away = length(p - sun) - 70 - 12 * hit;
    color += float3(1, 0.55, 0.3) * exp(-max(away, 0.0) * 0.018) * (0.5 + 0.3 * hit);
    // Slits in the sun, wider below.
    float slit = fract((p.y - sun.y) / 16 + time * 0.3) - 0.4 * saturate((p.y - sun.y) / 70);
    if (away < 0 && (p.y < sun.y || slit > 0))
        color = mix(float3(1, 0.95, 0.6), float3(1, 0.35, 0.5), saturate((p.y - sun.y) / 140 + 0.5));
    if (deep > 0)
        color = color * float3(0.72, 0.56, 0.66) + float3(0, 0.02, 0.06) + 0.04 * ripple;
    else if (plays(Harp, barNow())) { // stars that the harp plucks
        uint2 square = uint2(coords) / 40;
        uint number = randomuint(square.x + square.y * 100);
        float2 star = float2(square) * 40 + 4 + float2(number % 32, number / 32 % 32);
        bool plucked = number % 16 == uint(audioTimer.barTime * 16);
        float spark = fract(audioTimer.barTime * 16);
        color += exp(-length(coords - star) / (plucked ? 3.5 : 1.2)) * (plucked ? 1 - spark : 0.35);
    }
    cls(color);
    if (coords.y > 418)
        cls(float4(0.03, 0.02, 0.08, 0.8 * smoothstep(418.0, 430.0, coords.y)));
    drawScore();
}
