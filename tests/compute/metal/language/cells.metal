// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A cellular automaton over small structs, with tables of constants and packed colours.
#include <metal_stdlib>
using namespace metal;
struct Cell { uchar state; uchar age; ushort pad; };
struct Rule { static constant constexpr int birth = 3; static bool alive(int n, bool was) { return n == birth || (was && n == 2); } };
static constant half4 colors[] = { half4(0), half4(1, .5h, 0, 1), half4(0.1h, 0.2h, 0.9h, 1.0h) };
int wrap(int v, int m) { return (v % m + m) % m; }
kernel void life(const device Cell* in [[buffer(0)]], device Cell* out [[buffer(1)]], constant uint2& dim [[buffer(2)]],
                 texture2d<half, access::write> view [[texture(0)]], uint2 p [[thread_position_in_grid]]) {
    if (p.x >= dim.x || p.y >= dim.y) return;
    int n = 0;
    for (int dy = -1; dy <= 1; dy++) for (int dx = -1; dx <= 1; dx++) {
        if (dx == 0 && dy == 0) continue;
        int2 q = int2(wrap(int(p.x) + dx, int(dim.x)), wrap(int(p.y) + dy, int(dim.y)));
        n += in[q.y * dim.x + q.x].state;
    }
    uint i = p.y * dim.x + p.x;
    bool alive = Rule::alive(n, in[i].state);
    device Cell& o = out[i];
    o.state = alive; o.age = alive ? min(int(in[i].age) + 1, 255) : 0;
    uchar4 packed = uchar4(o.state, o.age, 0, 255); uint word = as_type<uint>(packed); float4 un = unpack_unorm4x8_to_float(word);
    half4 c = colors[alive + (o.age > 10)]; c.a = un.w; c.rgb = mix(c.rgb, half3(un.xyz), 0.5h); c *= 0.9;
    switch (o.age & 3) { case 0: c.r += 0.1; break; case 1: case 2: c.g = max(c.g, 0.0); break; default: break; }
    view.write(c, p);
}
kernel void clear(device float4 *a, uint i [[thread_position_in_grid]], device packed_float4 *b) { a[i] = float4(); b[i] = a[i]; b[i].x = 1; a[i] = b[i] * 2; float3 q = a[i].xyz; q.x++; --q.y; q = -q; a[i].xyz = q; a[i].wzyx = a[i]; (void)q; }
