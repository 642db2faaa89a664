// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Other sizes of pictures of four bytes a pixel.
#pragma once

#include <cstdint>
#include <span>

namespace platform {

/// Rows without padding, as many pixels as width x height; all extents 1 to 32768.
void scalePicture(std::span<const std::uint32_t> from, std::uint32_t width, std::uint32_t height,
                  std::span<std::uint32_t> to, std::uint32_t toWidth, std::uint32_t toHeight);

} // namespace platform
