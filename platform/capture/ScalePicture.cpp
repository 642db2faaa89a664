// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/capture/ScalePicture.h"

#include <libyuv/scale_argb.h>

namespace platform {

void scalePicture(std::span<const std::uint32_t> from, std::uint32_t width, std::uint32_t height,
                  std::span<std::uint32_t> to, std::uint32_t toWidth, std::uint32_t toHeight) {
    const auto stride = [](std::uint32_t extent) { return static_cast<int>(extent * 4); };
    libyuv::ARGBScale(reinterpret_cast<const std::uint8_t*>(from.data()), stride(width),
                      static_cast<int>(width), static_cast<int>(height),
                      reinterpret_cast<std::uint8_t*>(to.data()), stride(toWidth),
                      static_cast<int>(toWidth), static_cast<int>(toHeight), libyuv::kFilterBox);
}

} // namespace platform
