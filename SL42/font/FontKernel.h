// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The program with which the device merges the type styles into the font texture.
#pragma once

namespace starloom {

/// One kernel, run once per style and pixel. A channel that no style has filled yet stays as it is.
inline constexpr char fontKernelSource[] = R"(#include <metal_stdlib>
using namespace metal;

kernel void addFontChannel(texture2d<float, access::read> style [[texture(0)]],
                           texture2d<float, access::read_write> atlas [[texture(1)]],
                           constant int& channel [[buffer(0)]],
                           uint2 position [[thread_position_in_grid]]) {
    float4 texel = atlas.read(position);
    texel[channel] = style.read(position).r;
    atlas.write(texel, position);
}
)";

} // namespace starloom
