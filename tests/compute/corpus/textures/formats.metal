// SPDX-License-Identifier: MIT
// Writes to textures of every format round and saturate as the format has it.
// grid 4x4 group 4x4
// texture 0: out 2d r8unorm 4x4 ~= min(max((x + y) / 4 - 0.25, 0), 1) * 255
// texture 1: out 2d rg8unorm 4x4 ~= (min(max((x + y) / 4 - 0.25, 0), 1) * 255, min(x / 2, 1) * 255)
// texture 2: out 2d rgba16float 4x4 == ((x + y) / 4 - 0.25, x / 2, -y * 1000, f16(0.1))
// texture 3: out 2d rgba32float 4x4 == ((x + y) / 4 - 0.25, x / 2, -y * 1000, f32(0.1))
#include <metal_stdlib>
using namespace metal;

kernel void formats(texture2d<float, access::write> a [[texture(0)]],
                    texture2d<float, access::write> b [[texture(1)]],
                    texture2d<half, access::write> c [[texture(2)]],
                    texture2d<float, access::write> d [[texture(3)]],
                    ushort2 p [[thread_position_in_grid]]) {
    const float4 color((p.x + p.y) / 4.0 - 0.25, p.x / 2.0, p.y * -1000.0, 0.1);
    a.write(color, p);
    b.write(color, p);
    c.write(half4(color), p);
    d.write(color, p);
}
