// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// From the console's light to that of an ordinary screen, for the loops that work on blocks of
// pixels: inline, so that each is compiled for the processor that its loop is for.
#pragma once

namespace platform {

/// Linear; 1 is white.
struct LinearColour {
    float red;
    float green;
    float blue;
};

/// Display P3 to sRGB: the product of the two matrices that follow from the primaries of SMPTE EG
/// 432-1 and ITU-R BT.709 with the white point D65.
[[gnu::always_inline]] inline LinearColour displayColour(LinearColour p3) {
    return {1.2249402F * p3.red - 0.2249402F * p3.green,
            -0.0420570F * p3.red + 1.0420570F * p3.green,
            -0.0196376F * p3.red - 0.0786361F * p3.green + 1.0982737F * p3.blue};
}

} // namespace platform
