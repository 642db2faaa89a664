// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The pointer: as the view reports it, and as programs see it.
#pragma once

#include <array>

namespace starloom {

/// The record that programs see, as the device lays it out.
struct MtlMouseDataStruct {
    std::array<float, 2> location{}; ///< in screen pixels
    bool leftMouseDown = false;
    bool rightMouseDown = false;
    bool leftMouseClick = false; ///< went down since the clicks were last cleared
    bool rightMouseClick = false;
};

static_assert(sizeof(MtlMouseDataStruct) == 12);

/// From 0 to 1 over the content of the window, y down.
struct MouseLocation {
    double x = 0;
    double y = 0;

    bool operator==(const MouseLocation&) const = default;
};

/// The extent of something on the desktop, in its pixels.
struct ContentSize {
    double width = 0;
    double height = 0;
};

/// Where a position in the window, y down, lies in its content; beyond the edges counts as on them.
MouseLocation normalize(double x, double y, ContentSize content);

/// A plain value whose setters keep the record up to date.
class MouseValues {
public:
    MouseLocation mouseLocation() const { return m_mouseLocation; }
    bool leftMouseDown() const { return m_mouseDataStruct.leftMouseDown; }
    bool rightMouseDown() const { return m_mouseDataStruct.rightMouseDown; }
    const MtlMouseDataStruct& mouseDataStruct() const { return m_mouseDataStruct; }

    /// The record gets screen pixels, however large the view is.
    void setMouseLocation(MouseLocation location);
    /// Going down makes a click.
    void setLeftMouseDown(bool down);
    void setRightMouseDown(bool down);
    void setClicks(bool left, bool right);

private:
    MouseLocation m_mouseLocation;
    MtlMouseDataStruct m_mouseDataStruct;
};

} // namespace starloom
