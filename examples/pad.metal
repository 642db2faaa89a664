// A chord pad: four chords, a bar each, that flow into one another. Every note is three soft waves,
// a little out of tune with each other, and floats slowly from side to side. The keys show what
// sounds.

int4 music = {60, 4, 4, 1};

enum { voices = 5, chords = 4 };

// F major with a ninth, A minor seventh, D minor ninth, B flat major seventh, as numbers of keys.
int notes[20] = {41, 57, 60, 64, 67, 45, 57, 60, 64, 67,
                          38, 57, 60, 64, 65, 46, 57, 62, 65, 69};

// To a quarter of a hertz: every wave then makes whole turns in a bar of four seconds, and flows
// over into the next bar and the next round without a click.
float frequency(float note) { return round(4 * 440 * exp2((note - 69) / 12)) / 4; }

// Sine with two weak overtones.
float wave(float turns) {
    float p = 2 * pi * fract(turns);
    return sin(p) + 0.28 * sin(2 * p) + 0.1 * sin(3 * p);
}

// How present a chord is: it comes up in the first half of its bar and is gone early in the next.
float presence(int chord) {
    float along = fract((audioTimer.bar + audioTimer.barTime - chord) / chords) * chords;
    float rise = smoothstep(0.0, 0.35, along);
    float fall = 1 - smoothstep(0.95, 1.3, along);
    return rise * fall;
}

float2 sfx() {
    float t = audioTimer.barTime * 4;
    float2 sum = 0;
    for (int i = 0; i < voices * chords; ++i) {
        int chord = i / voices;
        float loud = presence(chord);
        if (loud == 0)
            continue;
        int voice = i % voices;
        float f = frequency(notes[i]);
        float start = voice * 0.37; // they do not swell all at the same time
        float sound = wave(f * t) + wave((f + 0.5) * t + start) + wave((f - 0.25) * t - start);
        float side = 0.5 + 0.35 * sin(2 * pi * (audioTimer.patternTime * (voice + 1) + voice * 0.2));
        sum += float2(1 - side, side) * sound * loud * (voice == 0 ? 0.1 : 0.075);
    }
    return sum;
}

float3 chordColor(int chord) { return 0.5 + 0.4 * cos(chord * 1.35 + float3(0.3, 1.9, 3.6)); }

bool isBlack(int key) {
    int place = key % 12;
    return place == 1 || place == 3 || place == 6 || place == 8 || place == 10;
}

void fx() {
    float3 glow = 0;
    for (int chord = 0; chord < chords; ++chord)
        glow += chordColor(chord) * presence(chord);

    // Curtains of light, one for every voice.
    float2 p = coords / resolution;
    float3 sky = mix(float3(0.02, 0.03, 0.07), float3(0.05, 0.08, 0.13), p.y);
    for (int voice = 0; voice < voices; ++voice) {
        float turn = 2 * pi * audioTimer.patternTime;
        float sway = 0.05 * sin(p.x * 7 + turn * 2 + voice * 1.7) + 0.03 * sin(p.x * 17 - turn * 3 + voice);
        float edge = 0.62 - voice * 0.085 + sway;
        float below = p.y - edge;
        float curtain = below > 0 ? exp(-below * 50) : exp(below * 7);
        float fold = 0.6 + 0.4 * sin(p.x * 60 + 9 * sway * 10 + voice * 2 + turn * 4);
        sky += glow * curtain * fold * 0.27;
    }
    cls(sky);

    // Four octaves of keys from the lowest C of the bass.
    int octave = int(coords.x / 240);
    float across = coords.x - octave * 240;
    int whites[7] = {0, 2, 4, 5, 7, 9, 11};
    float whiteWidth = 240 / 7.0;
    int place = whites[min(int(across / whiteWidth), 6)];
    bool onBlack = false;
    for (int black = 0; black < 5 && coords.y < 505; ++black) {
        int keys[5] = {1, 3, 6, 8, 10};
        float middle = (black < 2 ? black + 1 : black + 2) * whiteWidth;
        if (abs(across - middle) < 10.5) {
            place = keys[black];
            onBlack = true;
        }
    }
    if (coords.y >= 450) {
        int key = 36 + octave * 12 + place;
        float3 color = onBlack ? float3(0.06, 0.06, 0.08) : float3(0.75, 0.76, 0.8);
        for (int i = 0; i < voices * chords; ++i)
            if (notes[i] == key)
                color = mix(color, chordColor(i / voices) * 1.1, presence(i / voices));
        bool gap = !onBlack && fract(across / whiteWidth) * whiteWidth < 1.5;
        cls(gap ? float3(0.1) : color * (0.8 + 0.2 * (coords.y - 450) / 90));
    }
}
