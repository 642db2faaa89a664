// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What shader effects for user interfaces expect of their toolkit: a layer to take colours from.
#pragma once
#pragma clang system_header

#include <metal_stdlib>

namespace SwiftUI {

/// A picture, addressed in its own pixels; transparent outside.
struct Layer {
    metal::texture2d<half> tex;

    half4 sample(float2 position) const {
        constexpr metal::sampler pixels(metal::coord::pixel, metal::filter::linear,
                                        metal::address::clamp_to_zero);
        return tex.sample(pixels, position);
    }
};

} // namespace SwiftUI
