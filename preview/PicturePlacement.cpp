// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "preview/PicturePlacement.h"

#include "preview/MTLPreview.h"

#include <algorithm>
#include <cmath>

namespace starloom {

static constexpr double acceptableSize = 0.9;

PicturePlacement placePicture(int viewWidth, int viewHeight, bool wholeOnly) {
    if (viewWidth <= 0 || viewHeight <= 0)
        return {};
    double scale = std::min(static_cast<double>(viewWidth) / MTLPreview::drawableWidth,
                            static_cast<double>(viewHeight) / MTLPreview::drawableHeight);
    const double whole = std::floor(scale);
    if (whole >= 1 && (wholeOnly || whole >= acceptableSize * scale))
        scale = whole;
    const int width = std::max(1, static_cast<int>(std::lround(MTLPreview::drawableWidth * scale)));
    const int height =
        std::max(1, static_cast<int>(std::lround(MTLPreview::drawableHeight * scale)));
    return {(viewWidth - width) / 2, (viewHeight - height) / 2, width, height};
}

} // namespace starloom
