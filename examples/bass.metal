// A bass line with a filter. Filters usually remember what went through them, and sfx remembers
// nothing. But a filter only makes some frequencies louder than others: so the overtones of each
// note are added up one by one, each as loud as the filter would let it through.

int4 music = {122, 4, 2, 2};

enum { overtones = 36 };

// Semitones above the lowest A for each sixteenth; -1 is a rest.
int tune[32] = {0, -1, 0, 12, -1, 0, 10, -1, 0, -1, 7, 0, -1, 12, 0, 3,
                         5, -1, 5, 17, -1, 5, 3,  -1, 0, -1, 0, 10, -1, 7, 3, 10};

float position() { return (audioTimer.bar + audioTimer.barTime) * 16; }
int note() { return tune[int(position()) % 32]; }
float frequency() { return 55 * exp2(max(note(), 0) / 12.0); }

// The filter opens with every note, and over the song, and closes again.
float cutoff() {
    float song = (audioTimer.pattern + audioTimer.patternTime) / music.w;
    return 160 + (500 + 1700 * (0.5 - 0.5 * cos(2 * pi * song))) * exp(-3.5 * fract(position()));
}

// How much of a frequency a resonant low-pass filter lets through.
float response(float f, float edge) {
    float x = f / edge;
    return rsqrt((1 - x * x) * (1 - x * x) + 0.09 * x * x);
}

float2 sfx() {
    float along = fract(position());
    float gate = note() < 0 ? 0 : smoothstep(0.0, 0.02, along) * (1 - smoothstep(0.7, 0.9, along));
    float f = frequency();
    float edge = cutoff();
    float phase = 2 * pi * fract(f * 15.0 / music.x * along);

    // sin(n p) follows from the two before it.
    float turn = 2 * cos(phase);
    float before = 0;
    float now = sin(phase);
    float saw = 0;
    for (int n = 1; n <= overtones; ++n) {
        saw += now / n * response(n * f, edge);
        float next = turn * now - before;
        before = now;
        now = next;
    }
    float kick = exp(-9 * audioTimer.beatTime);
    float t = audioTimer.beatTime * 60 / music.x;
    float drum = sin(2 * pi * (46 * t + 7 * (1 - exp(-35 * t)))) * kick;
    return 0.6 * drum + 0.2 * saw * gate * (1 - 0.6 * kick);
}

// How high the curve of the filter is drawn, as many overtones from the left as `n`.
float curve(float n) { return 150 * response(n * frequency(), cutoff()) * rsqrt(n); }

// The overtones of the note that sounds, under the curve of the filter.
void fx() {
    float song = (audioTimer.pattern + audioTimer.patternTime) / music.w;
    float3 tint = 0.55 + 0.45 * cos(2 * pi * song + float3(0.4, 2.2, 4.1));
    cls(mix(float3(0.05, 0.04, 0.08), tint * 0.2, coords.y / resolution.y));

    float base = 430;
    float spread = 23.5;
    float n = (coords.x - 60) / spread + 1;
    float above = base - coords.y - curve(n);
    if (n >= 1 && coords.x < 900 && coords.y < base) {
        float slope = curve(n + 1 / spread) - curve(n);
        float away = abs(above) * rsqrt(1 + slope * slope);
        pix(float4(tint, above < 0 ? 0.2 : 0), coords);
        pix(float4(1, 0.95, 0.85, 1 - smoothstep(1.0, 2.2, away)), coords);
    }
    float bar = round(n);
    if (bar >= 1 && bar <= overtones) {
        float loud = note() < 0 ? 0.05 : exp(-0.9 * fract(position()));
        float height = curve(bar) * loud;
        rect(float2(60 + (bar - 1) * spread - 7, base - height), float2(14, height),
             float4(tint + 0.15, 1));
    }

    // The tune: a dot for each sixteenth, higher for higher notes.
    int step = clamp(int((coords.x - 60) / 26.4), 0, 31);
    bool now = step == int(position()) % 32;
    if (tune[step] >= 0)
        circ(float2(73 + step * 26.4, 515 - tune[step] * 3.5), now ? 9 : 5,
             now ? float4(1, 0.95, 0.85, 1) : float4(tint, 0.7));
}
