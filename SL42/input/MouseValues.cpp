// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/input/MouseValues.h"

#include "SL42/hardware/Screen.h"

#include <utility>

namespace starloom {

/// `position` as a part of `extent`, from 0 to 1.
static double fraction(double position, double extent) {
    if (!(position > 0))
        return 0;
    return position < extent ? position / extent : 1;
}

MouseLocation normalize(double x, double y, ContentSize content) {
    return {fraction(x, content.width), fraction(y, content.height)};
}

void MouseValues::setMouseLocation(MouseLocation location) {
    m_mouseLocation = location;
    m_mouseDataStruct.location = {static_cast<float>(location.x) * static_cast<float>(screenWidth),
                                  static_cast<float>(location.y) *
                                      static_cast<float>(screenHeight)};
}

void MouseValues::setLeftMouseDown(bool down) {
    if (!std::exchange(m_mouseDataStruct.leftMouseDown, down) && down)
        m_mouseDataStruct.leftMouseClick = true;
}

void MouseValues::setRightMouseDown(bool down) {
    if (!std::exchange(m_mouseDataStruct.rightMouseDown, down) && down)
        m_mouseDataStruct.rightMouseClick = true;
}

void MouseValues::setClicks(bool left, bool right) {
    m_mouseDataStruct.leftMouseClick = left;
    m_mouseDataStruct.rightMouseClick = right;
}

} // namespace starloom
