// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The pointer: as the view reports it, and as programs see it.
#pragma once

#include <array>

namespace starloom {

/// The record that programs see, as the device lays it out.
struct MouseData {
    std::array<float, 2> location{}; ///< in screen pixels
    bool leftButton = false;
    bool rightButton = false;
    bool leftClick = false; ///< went down since the clicks were last cleared
    bool rightClick = false;
};

static_assert(sizeof(MouseData) == 12);

/// A plain value whose setters keep the record up to date.
class MouseValues {
public:
    /// From 0 to 1 over the view, y down; the record gets screen pixels.
    void setLocation(double x, double y);
    /// Going down makes a click.
    void setLeftButton(bool down);
    void setRightButton(bool down);
    void setClicks(bool left, bool right);

    const MouseData& data() const { return m_data; }

private:
    MouseData m_data;
};

} // namespace starloom
