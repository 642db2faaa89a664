// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Where the picture lies in a view of another size.
#pragma once

namespace starloom {

/// A rectangle in pixels of the screen, from the view's top left corner.
struct PicturePlacement {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
    bool operator==(const PicturePlacement&) const = default;
};

/// Centres the picture in the view, as large as it fits with its aspect kept. Whole-number scales,
/// at which every pixel is crisp, are preferred: always with `wholeOnly` set (a view smaller than
/// the picture excepted), otherwise where they lose no more than a tenth of the size. A view
/// without extent gives an empty placement.
PicturePlacement placePicture(int viewWidth, int viewHeight, bool wholeOnly);

} // namespace starloom
