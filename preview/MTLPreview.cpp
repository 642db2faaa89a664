// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "preview/MTLPreview.h"

namespace starloom {

void MTLPreview::setShowCursor(bool show) {
    m_showCursor = show;
    resetCursorRects();
}

} // namespace starloom
