// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What the display lays over the picture: most often a captured frame of the editor's window.
#pragma once

#include "gpu/Texture.h"

#include <memory>

namespace starloom {

/// Both planes of one surface, whose memory they share; each as wide and high as its plane.
struct YUVTexture {
    std::shared_ptr<gpu::Texture> y;  ///< R8Unorm: luma
    std::shared_ptr<gpu::Texture> uv; ///< RG8Unorm: chroma, 0 to 1, neutral at one half
};

} // namespace starloom
