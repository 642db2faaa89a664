// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// From the console's colours to those of an ordinary screen: half floats in extended Display P3
// become 8-bit sRGB. Every frame on the screen goes through here, so it is fast.
#pragma once

#include <cstdint>
#include <span>

namespace platform {

/// Converts pixels of four half floats, laid out as in Image, to 0xffRRGGBB. Colours that sRGB
/// cannot show clip channel by channel: brighter than white, darker than black, or too saturated.
/// NaN is black and alpha is ignored. `pixels` has one entry for each four halves. Any thread.
void convertToDisplay(std::span<const std::uint16_t> halves, std::span<std::uint32_t> pixels);

} // namespace platform
