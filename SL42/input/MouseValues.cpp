// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/input/MouseValues.h"

#include "SL42/engine/Screen.h"

#include <utility>

namespace starloom {

void MouseValues::setLocation(double x, double y) {
    m_data.location = {static_cast<float>(x) * static_cast<float>(screenWidth),
                       static_cast<float>(y) * static_cast<float>(screenHeight)};
}

void MouseValues::setLeftButton(bool down) {
    if (!std::exchange(m_data.leftButton, down) && down)
        m_data.leftClick = true;
}

void MouseValues::setRightButton(bool down) {
    if (!std::exchange(m_data.rightButton, down) && down)
        m_data.rightClick = true;
}

void MouseValues::setClicks(bool left, bool right) {
    m_data.leftClick = left;
    m_data.rightClick = right;
}

} // namespace starloom
