// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The view that shows the console's picture, as the engine sees it. A window and an offscreen form
// derive from it.
#pragma once

#include "gpu/CommandBuffer.h"
#include "platform/Published.h"

#include <cstdint>
#include <memory>

namespace starloom {

class MTLPreview;

/// Draws what a view shows.
class MTLPreviewDelegate {
public:
    virtual ~MTLPreviewDelegate() = default;
    /// Whether draw() would begin at once. When it would wait instead, a view that must stay
    /// responsive leaves the refresh out.
    virtual bool isReadyToDraw() const = 0;
    /// Called by the view on the main thread, once per refresh.
    virtual void draw(MTLPreview& view) = 0;
};

/// Drawables are half-float RGBA in extended Display P3 and always 960 x 540, whatever the size of
/// the view: the picture is scaled to the view, and what it does not cover is red. Main thread.
class MTLPreview {
public:
    static constexpr std::uint32_t drawableWidth = 960;
    static constexpr std::uint32_t drawableHeight = 540;

    virtual ~MTLPreview() = default;

    /// The next drawable to draw into, held by the caller until it is presented. Null when there is
    /// none to be had now.
    virtual std::shared_ptr<gpu::Drawable> currentDrawable() = 0;
    /// Called by the delegate instead of drawing when the picture would be the one shown already.
    virtual void repeatPicture() {}
    /// Asks for one refresh of the whole view, also while the view is paused.
    virtual void setNeedsDisplay() = 0;

    /// Not owned; must be set to null before the delegate goes.
    void setDelegate(MTLPreviewDelegate* delegate) { m_delegate = delegate; }
    MTLPreviewDelegate* delegate() const { return m_delegate; }

    /// Whether the system pointer shows while it is over the view.
    bool showCursor() const { return m_showCursor; }
    void setShowCursor(bool show);

    /// True while the view asks for no refreshes of its own accord.
    platform::Published<bool> isPaused;
    /// Extended dynamic range: colours above 1 are shown brighter than white by a view that can.
    /// None of ours does.
    platform::Published<bool> hdr;
    /// Refreshes per second to aim at.
    platform::Published<int> preferredFPS{60};

protected:
    /// The pointer's visibility has changed.
    virtual void resetCursorRects() {}

private:
    MTLPreviewDelegate* m_delegate = nullptr;
    bool m_showCursor = true;
};

} // namespace starloom
