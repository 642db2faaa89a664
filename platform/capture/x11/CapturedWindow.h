// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// One window that is drawn into a pixmap of its own, whatever lies above it, and what of it has
// changed. Asks and tells; when to look is decided elsewhere.
#pragma once

#include "platform/base/Result.h"
#include "platform/capture/WindowCapture.h"
#include "platform/capture/x11/WindowImage.h"
#include "platform/capture/x11/XDisplay.h"

#include <xcb/damage.h>
#include <xcb/xfixes.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>

namespace platform::x11 {

/// What an event says about the window.
enum class WindowNews {
    None,
    Damaged,  ///< something was drawn since the last look
    Replaced, ///< its pixmap is another one now, or there is none: see namePixmap()
    Closed,
};

/// How long owners of windows get to draw what they have just been asked for, before somebody
/// looks: in a pixmap that is new, and where another window was seen before (see wasCovered()).
inline constexpr std::chrono::milliseconds repaintTime{20};
inline constexpr std::chrono::milliseconds coveredRepaintTime{50};

class CapturedWindow {
public:
    /// Fails when there is no such window, or one without such pixels.
    static Result<std::unique_ptr<CapturedWindow>> create(const XDisplay& display,
                                                          std::uint64_t window);

    /// Whether another window hid part of it so far. Its owner has just been asked to draw that
    /// part, and the pixmap shows the other window there until it has.
    bool wasCovered() const { return m_wasCovered; }
    WindowNews newsIn(const xcb_generic_event_t& event) const;
    /// Gets hold of the pixmap in which the window is drawn now. Until then, and where it fails,
    /// the one before stays. Fails, with the reason for a person, while the window has none: it is
    /// minimised, or being resized or moved between parents.
    Result<void> namePixmap();
    /// Whether nothing of the named pixmap was read yet.
    bool isNew() const { return m_isNew; }
    /// Reads what was drawn since the last time; false when that was nothing.
    Result<bool> read();
    /// What was read. Valid until anything but newsIn() is called.
    const WindowImage& image() const { return m_image; }

private:
    CapturedWindow(const XDisplay& display, xcb_window_t window)
        : m_display(display), m_window(window), m_image(display) {}
    Result<void> redirect();
    void watchAncestors();
    std::optional<Rectangle> takeDamage();

    struct Size {
        std::uint32_t width = 0;
        std::uint32_t height = 0;
        std::uint32_t border = 0;
        bool operator==(const Size&) const = default;
    };

    const XDisplay& m_display;
    xcb_window_t m_window;
    bool m_wasCovered = false;
    Resource<xcb_damage_destroy> m_damage;
    Resource<xcb_xfixes_destroy_region> m_damagedRegion;
    Resource<xcb_free_pixmap> m_pixmap;
    Size m_size;                ///< of the window when m_pixmap was named; none when that failed
    std::uint32_t m_origin = 0; ///< of the picture in m_pixmap, past the border
    bool m_isNew = false;
    WindowImage m_image;
};

} // namespace platform::x11
