// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The console's picture at another size, with all its range.
#pragma once

#include "platform/image/Image.h"

#include <cstdint>

namespace starloom {

/// Lies in the new size as in a window of that size, with the same crisp pixels, on opaque black.
platform::Image scaledImage(const platform::Image& image, std::uint32_t width,
                            std::uint32_t height);

} // namespace starloom
