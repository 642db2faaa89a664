// A demo of the old school: bars of copper, a knot of balls in space, a text that hops along above the
// water, and a chip that plays. All of it is drawn once; the water draws it again, upside down.

int4 music = {132, 4, 4, 2};

// Where the water begins.
enum { shore = 410 };

// --- The chip. A wave's place in its turn is counted in whole numbers, which wrap around without an
// error, so that it stays in tune however long the song is.

float turnOf(float hertz) { return uint(hertz * 89478.485) * sample / 4294967296.0; } // 2^32 / 48000
float pitch(float note) { return 440 * exp2((note - 69) / 12); }

// A pulse as a chip makes it, its edges rounded so that they do not whistle.
float pulse(float hertz, float width) {
    float t = turnOf(hertz);
    float soft = hertz / 6000;
    float rise = smoothstep(0.0, soft, t) - smoothstep(width, width + soft, t);
    return 2 * rise - 2 * width;
}

float noise(uint at) { return float(randomuint(at) >> 8) / 8388608.0 - 1; }

float2 sfx() {
    float roots[4] = {45, 41, 48, 43}; // A, F, C, G
    float thirds[4] = {3, 4, 4, 4};
    uint bar = audioTimer.bar;
    float step = audioTimer.barTime * 16;
    float along = fract(step);

    // A chord on a chip is one voice that jumps from note to note, faster than you can tell.
    float chord[3] = {0, thirds[bar], 7};
    float jump = chord[sample / 800 % 3];
    float arp = pulse(pitch(roots[bar] + 24 + jump), 0.3 + 0.2 * sin(audioTimer.patternTime * 12));
    arp *= 0.14 * (1 - 0.5 * fract(audioTimer.barTime * 2));

    int walk[16] = {0, 0, 12, 0, 0, 12, 0, 10, 0, 0, 12, 0, 7, 12, 10, 7};
    float gate = 1 - smoothstep(0.6, 0.8, along);
    float low = roots[bar] - 12 + walk[int(step)];
    float bass = (abs(turnOf(pitch(low)) * 4 - 2) - 1) * gate * 0.24 * smoothstep(0.0, 0.02, along);

    // The tune comes with the second pattern.
    int tune[16] = {76, 0, 74, 72, 0, 72, 74, 76, 79, 0, 76, 0, 74, 0, 72, 71};
    int note = tune[(int(step) + 5 * bar) % 16];
    float lead = 0;
    if (audioTimer.pattern == 1 && note > 0) {
        lead = pulse(pitch(note), 0.5) * 0.13 * smoothstep(0.0, 0.02, along) *
               exp(-1.2 * along) * (1 - smoothstep(0.9, 1.0, along));
    }
    float beat = audioTimer.beatTime * 60 / music.x;
    float drum = sin(2 * pi * (50 * beat + 6 * (1 - exp(-30 * beat)))) * exp(-9 * beat);
    bool off = audioTimer.beat % 2 == 1;
    float snare = off ? noise(sample / 3) * exp(-14 * beat) : 0;
    float hat = (noise(sample) - noise(sample + 1)) * exp(-7 * along);
    float2 out = 0.36 * drum + 0.13 * snare + bass;
    return out + arp * float2(0.8, 1) + lead * float2(1, 0.8) + hat * float2(0.03, 0.04);
}

// --- The picture.

float hitOf(float speed) { return exp(-speed * audioTimer.beatTime); }

void drawSky() {
    float y = coords.y / shore;
    cls(mix(float3(0.02, 0.01, 0.08), float3(0.35, 0.08, 0.3), y * y));
    for (int layer = 1; layer <= 3; ++layer) { // a star for each square, which moves
        float2 moved = coords + float2(time * 40 * layer, 0);
        float2 square = floor(moved / 60);
        uint number = randomuint(uint(square.x) + uint(square.y) * 1000 + layer * 100000);
        float2 star = (square + 0.5) * 60 + float2(number % 50, number / 50 % 50) - 25;
        float away = length(moved - star);
        pix(float4(1, 1, 1, saturate(1.6 - away) * 0.3 * layer), coords);
    }
    for (int bar = 0; bar < 7; ++bar) { // copper, the front ones last
        float middle = 92 + 60 * sin(time * 1.7 + bar * 0.42);
        float round = 1 - abs(coords.y - middle) / 13;
        float3 metal = 0.55 + 0.45 * cos(bar * 0.8 + time * 0.5 + float3(0, 2.1, 4.2));
        if (round > 0)
            cls(metal * round + 0.45 * pow(round, 6));
    }
}

void drawTitle() {
    if (abs(coords.y - 92) > 80) // text is work: only where it can be
        return;
    char words[] = "STARLOOM 42";
    float size = 104 + 10 * hitOf(5);
    float2 corner = float2(480 - stringWidth(11, size) / 2, 92 - size / 2);
    corner.y += 6 * sin(coords.x * 0.015 + time * 3); // each column prints a little higher or lower
    print(words, 11, corner + 5, float4(0, 0, 0, 1), size, Bold);
    print(words, 11, corner, float4(1, 1, 1, 1), size, Bold);
}

// A knot of balls that turns. One core for each ball works out where it is, and how many are farther
// away: that is its place in the order in which they are drawn.
enum { balls = 32, knot = 0 }; // how many, and their address

float3 ballInSpace(uint number) {
    float a = number * 2 * pi / balls;
    float3 p = float3((2 + cos(3 * a)) * cos(2 * a), (2 + cos(3 * a)) * sin(2 * a), sin(3 * a));
    p.xz = rotate2d(p.xz, time * 0.9);
    p.yz = rotate2d(p.yz, time * 0.6 + 1);
    return p;
}

void cpu() {
    if (core >= balls)
        return;
    float3 places[balls];
    for (uint i = 0; i < balls; ++i)
        places[i] = ballInSpace(i);
    float3 p = places[core];
    int farther = 0;
    for (uint i = 0; i < balls; ++i) // of two at the same depth, the first one counts as farther
        farther += places[i].z > p.z || (places[i].z == p.z && i < core);
    float scale = 5 / (5 + p.z * 0.7);
    float radius = 13 * scale * (1 + 0.25 * hitOf(6));
    poke128(float4(p.xy * float2(52, 34) * scale, radius, core), knot + farther * 16);
}

void drawBalls() {
    float2 p = coords - float2(480, 252);
    if (length(p / float2(1.9, 1)) > 130)
        return;
    for (int i = 0; i < balls; ++i) {
        float4 ball = peek128<float4>(knot + i * 16);
        float2 q = (p - ball.xy) / ball.z;
        float inside = dot(q, q);
        if (inside > 1.2)
            continue;
        float3 color = 0.55 + 0.45 * cos(ball.w * 4 * pi / balls + float3(0, 2.1, 4.2));
        float lit = saturate(dot(float3(q, sqrt(saturate(1 - inside))), float3(-0.5, -0.6, 0.62)));
        color = color * (0.25 + 0.75 * lit) + exp2(24 * (lit - 1)) * 0.8;
        pix(float4(color * ball.z / 16, smoothstep(1.1, 0.95, inside)), coords);
    }
}

// A constant for all pixels, so that nobody has to write it down anew.
static constexpr constant char words[] =
    "        4096 CORES, 518400 PIXELS, 48000 SAMPLES A SECOND ... "
    "AND ALL OF IT IN A FILE THAT YOU CAN READ ... CHANGE A NUMBER, SAVE, AND WATCH! ... "
    "GREETINGS TO EVERYBODY WHO EVER MADE A PIXEL JUMP        ";

// Every character hops by itself: find the one in this column, then ask the font how much of this
// pixel it covers.
void drawScroller() {
    if (coords.y < shore - 100)
        return;
    float size = 60;
    float along = coords.x * FontWNorm / size + time * 5.2;
    int index = int(along);
    float hop = abs(sin(index * 0.35 - time * 3)) * 34;
    float down = (coords.y - (shore - 66 - hop)) / size;
    if (down < 0 || down >= 1)
        return;
    char character = words[index % (sizeof(words) - 1)];
    float cover = getChar(character, float2(fract(along), down), Bold, log2(FontH / size) - 0.5);
    float3 chrome = down < 0.52 ? mix(float3(0.2, 0.45, 0.9), float3(1), down * 1.9)
                                : mix(float3(0.35, 0.15, 0.05), float3(1, 0.85, 0.4), down * 2 - 1);
    pix(float4(chrome, cover), coords);
}

void drawAll() {
    drawSky();
    drawTitle();
    drawBalls();
    drawScroller();
}

void fx() {
    float2 here = coords;
    float deep = here.y - shore;
    if (deep >= 0) { // whoever stands in the water draws what stands above, with waves
        float wave = (2 + deep * 0.05) * sin(deep * 220 / (deep + 30) - time * 5);
        coords = round(float2(here.x + wave, max(shore - 1 - deep * 1.5 + wave, 0.0)));
    }
    drawAll();
    coords = here;
    if (deep >= 0)
        cls(float4(0.03, 0.06, 0.16, 0.3 + 0.45 * deep / 130));
    if (deep >= 0 && deep < 2)
        cls(float4(0.8, 0.9, 1, 0.5));
}
