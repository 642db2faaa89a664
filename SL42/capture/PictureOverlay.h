// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A picture as an overlay.
#pragma once

#include "SL42/hardware/YUVTexture.h"
#include "gpu/Device.h"
#include "platform/base/Result.h"
#include "platform/image/Image.h"

namespace starloom {

/// Lies on black where it is transparent. Fails when it is empty or too large.
platform::Result<YUVTexture> overlayOf(const platform::Image& picture, gpu::Device& device);

} // namespace starloom
