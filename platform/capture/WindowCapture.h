// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Pictures of another application's window, as they change. Each kind of desktop has a source of
// its own behind this; platform/capture/choice chooses.
#pragma once

#include "platform/base/Result.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace platform {

struct CapturableWindow {
    /// Names the window for start() as long as it is there.
    std::uint64_t identifier = 0;
    std::string application;  ///< empty when the window does not say
    std::string title;        ///< likewise
    std::int64_t process = 0; ///< 0 when it is not known, or runs on another machine
    std::uint32_t width = 0;  ///< in points
    std::uint32_t height = 0;
    bool isMinimised = false;

    bool operator==(const CapturableWindow&) const = default;
};

/// Rows of four bytes a pixel: blue, green, red and one without meaning.
struct CapturedPicture {
    std::span<const std::byte> pixels;
    std::size_t bytesPerRow = 0; ///< at least four times the width
    std::uint32_t width = 0;     ///< in pixels, at least 1
    std::uint32_t height = 0;
    double scale = 1; ///< pixels a point
};

struct CaptureEvent {
    enum class Kind {
        Started, ///< pictures arrive from now on, as often as something changes
        Paused,  ///< the window is minimised or elsewhere; its last picture stays
        Resumed, ///< it is back
        Stopped, ///< the window or its desktop has ended the capture, or it could not begin
    };
    Kind kind;
    /// What there is to say about it, to be shown to a person; empty for Resumed.
    std::string description;
};

/// Owned pixels in the layout of CapturedPicture, without padding.
struct WindowPicture {
    std::vector<std::byte> pixels;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
};

/// Main thread, but for the handlers, which run on a thread of the capture. A window that does not
/// change costs nothing.
class WindowCapture {
public:
    /// Gets complete pictures only, in order; each is valid during the call. While it takes long,
    /// pictures are left out, and the newest is never lost.
    using PictureHandler = std::function<void(const CapturedPicture& picture)>;
    using EventHandler = std::function<void(const CaptureEvent& event)>;

    virtual ~WindowCapture() = default;

    /// Whether the desktop itself asks the user for a window at the start, and lists none to us.
    virtual bool desktopPicks() const = 0;
    /// The windows of other processes, the one used last first. Empty where the desktop picks.
    virtual Result<std::vector<CapturableWindow>> windows() = 0;
    /// What a window shows now, no larger than it is. Fails when it is minimised or gone.
    virtual Result<WindowPicture> picture(std::uint64_t window) = 0;
    /// Begins to capture a window in place of the one that is captured; none where the desktop
    /// picks. Returns at once; what becomes of it is told by events. At most `picturesPerSecond`.
    virtual void start(std::optional<std::uint64_t> window, unsigned picturesPerSecond,
                       PictureHandler onPicture, EventHandler onEvent) = 0;
    /// Has a desktop that remembers what the user picked ask again at the next start.
    virtual void forgetChoice() {}
    /// No handler runs after it has returned. Does nothing when nothing is captured.
    virtual void stop() = 0;
};

} // namespace platform
