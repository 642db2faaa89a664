// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A view without a window: its pictures are read back by the command line, the thumbnails and the
// tests.
#pragma once

#include "gpu/Device.h"
#include "preview/DrawablePool.h"
#include "preview/MTLPreview.h"

#include <cstdint>
#include <memory>

namespace starloom {

/// Refreshes only when told to.
class OffscreenPreview final : public MTLPreview {
public:
    explicit OffscreenPreview(std::shared_ptr<gpu::Device> device);

    std::shared_ptr<gpu::Drawable> currentDrawable() override { return m_pool->nextDrawable(); }
    void setNeedsDisplay() override { m_needsDisplay = true; }

    /// Whether setNeedsDisplay() was called since the last refresh.
    bool needsDisplay() const { return m_needsDisplay; }
    /// Lets the delegate draw one frame.
    void refresh();

    /// Blocks until every drawable handed out has been shown or dropped, and returns the picture
    /// shown last: RGBA16Float, to be read with getBytes() before the next refresh. Null when
    /// nothing was shown yet. Main thread, not from a task of the device.
    std::shared_ptr<gpu::Texture> waitForPicture() { return m_pool->waitForShown(); }
    /// The same, but null when that picture was taken before, and nothing is drawn over it until
    /// it is let go, on any thread. While DrawablePool::mostHeld are held there is room for frames
    /// one by one.
    std::shared_ptr<const gpu::Texture> takePicture();
    /// Number of drawables shown so far. A frame that fails adds nothing.
    std::uint64_t pictureCount() const { return m_pool->shownCount(); }

private:
    std::shared_ptr<DrawablePool> m_pool;
    bool m_needsDisplay = false;
};

} // namespace starloom
