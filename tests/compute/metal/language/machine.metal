// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A program written as members of a class, with memory, registers, text and state.
#include <metal_stdlib>
using namespace metal;

struct Keys {
    bool state[128];
    bool pressed[128];
};
enum Register : uchar { ColorMode, BlendMode };
enum Style { Regular, Bold };
#define Space 32
#define Range uint(960 * 540)
constexpr sampler glyphs(filter::linear, mip_filter::linear, address::clamp_to_zero);

class Machine {
public:
    device uchar* memory;
    device half4* screen;
    constant Keys* keys;
    texture2d<float, access::sample> font;
    float4 pixel = 0;
    float2 coords;
    float time;
    uint core, randomSeed;
    int4 music = {120, 4, 4, 4};

    struct Enemy {
        float2 position;
        packed_float2 speed;
        int lives;
        bool alive() const device { return lives > 0; }
    };
    struct State {
        Enemy enemies[16];
        uint score;
    };
    device State* state() { return (device State*)(memory + 1024); }

    uint random() {
        randomSeed ^= randomSeed << 13;
        randomSeed ^= randomSeed >> 17;
        randomSeed ^= randomSeed << 5;
        return randomSeed;
    }
    float randomFloat() { return random() / float(UINT_MAX); }
    uint index(float2 c) { return uint(rint(c.y) * 960 + rint(c.x)) % Range; }
    half4 blend(half4 a, half4 b) {
        return half4(a.rgb * a.a + b.rgb * (1 - a.a), a.a + b.a * (1 - a.a));
    }
    void pix(float4 color, float2 c) {
        bool local = all(rint(c) == coords);
        if (local)
            pixel = float4(blend(half4(color), half4(pixel)));
        else
            screen[index(c)] = blend(half4(color), screen[index(c)]);
    }
    void pix(float3 color, float2 c) { pix(float4(color, 1), c); }
    void pix(float color, float2 c) { pix(float4(color), c); }
    void circ(float2 p, float r, float4 color) {
        color.a *= 1 - smoothstep(0, 1, length(coords - p) - r);
        if (color.a > 0)
            pix(color, coords);
    }
    void rect(float2 p, float2 size, float4 color, float radius = 0) {
        float2 q = abs(coords - p - size / 2) - size / 2 + radius;
        float l = length(max(q, 0)) + min(max(q.x, q.y), 0) - radius;
        color.a *= radius > 0 ? 1 - smoothstep(0, 1, l) : 1 - step(0, l);
        pix(color, coords);
    }
    int strlen(thread const char* str) {
        int n = 0;
        while (str[n])
            n++;
        return n;
    }
    void print(char str[], int count, float2 pos, float4 color, float size = 30.0, Style style = Regular) {
        float2 p = (coords - pos) / float2(size / 1.5, size);
        if (any(p < 0) || p.x >= count || p.y >= 1)
            return;
        char c = str[int(p.x)] - ' ';
        float2 cell = float2(c % 12, c / 12) + fract(p);
        float mip = max(0.5 * log2(494 / size * 494 / size) - 0.5, 0);
        color.a *= font.sample(glyphs, cell * float2(340, 494) / 4096, level(mip))[style];
        pix(color, coords);
    }

    void cpu() {
        device State& s = *state();
        if (core == 0 && keys->pressed[Space])
            s.score++;
        device Enemy& e = s.enemies[core % 16];
        e.position += e.speed;
        if (any(e.position < 0) || any(e.position > float2(960, 540)))
            e.speed = -float2(e.speed);
        if (!e.alive())
            e = Enemy{float2(randomFloat() * 960, 0), float2(1, 2), 3};
        memory[core] = uchar(clamp(int(e.position.x), 0, 255));
    }
    void fx() {
        pix(0.1, coords);
        for (int i = 0; i < 16; i++)
            if (state()->enemies[i].alive())
                circ(state()->enemies[i].position, 10, {1, .5, 0, 1});
        rect({10, 10}, {100, 20}, float4(1), 5);
        char text[] = "SCORE";
        print(text, strlen(text), {20, 40}, float4(1, 1, 1, .8), 24, Bold);
        pixel.rgb *= .5 + .5 * sin(time + coords.x / 100);
    }
    float2 sfx() {
        float beat = fract(time * music.x / 60);
        return sin(time * 440 * 2 * M_PI_F) * exp(-beat * 8) * float2(.5, .4);
    }
};

kernel void processor(device uchar* memory [[buffer(0)]], device half4* screen [[buffer(1)]],
                      constant Keys& keys [[buffer(2)]], constant float& time [[buffer(3)]],
                      device float2* audio [[buffer(4)]], texture2d<float> font [[texture(0)]],
                      uint id [[thread_position_in_grid]]) {
    Machine m;
    m.memory = memory;
    m.screen = screen;
    m.keys = &keys;
    m.font = font;
    m.time = time;
    m.core = id;
    m.randomSeed = id * 747796405u + 1;
    m.coords = float2(id % 960, id / 960);
    m.cpu();
    m.fx();
    if (m.pixel.a > 0)
        screen[id] = m.blend(half4(m.pixel), screen[id]);
    audio[id] = m.sfx();
}
