// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The picture that a captured window shows in tests: a number that can be read back, and known
// colours.
#pragma once

#include "platform/capture/WindowCapture.h"

#include <array>
#include <cstdint>
#include <optional>
#include <span>

namespace platform::tests {

/// 0xRRGGBB.
inline constexpr std::array<std::uint32_t, 8> testColours{0x000000, 0xffffff, 0xff0000, 0x00ff00,
                                                          0x0000ff, 0x569cd6, 0xce9178, 0x1e1e1e};

/// Bits of the counter.
inline constexpr unsigned counterBits = 16;

/// The colour of a pixel of a picture at least 160 x 48 in size. Its upper half shows the counter
/// as black and white bars, highest bit first, its lower half testColours as bars.
std::uint32_t testPixel(std::uint32_t x, std::uint32_t y, std::uint32_t width, std::uint32_t height,
                        std::uint32_t counter);

/// Fills rows of 0x00RRGGBB without padding.
void paintTestPicture(std::span<std::uint32_t> pixels, std::uint32_t width, std::uint32_t counter);

/// The counter that a captured picture shows if every pixel is that of the test picture; none when
/// any differs.
std::optional<std::uint32_t> readTestPicture(const CapturedPicture& picture);

} // namespace platform::tests
