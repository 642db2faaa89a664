// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The drawables of a view and the textures behind them, used again and again, so that a steady
// stream of frames allocates nothing.
#pragma once

#include "gpu/CommandBuffer.h"
#include "gpu/Device.h"
#include "platform/base/Mutex.h"
#include "platform/base/SharedPool.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace starloom {

/// Drawables come back from the device's callback thread and may outlive the view, hence the lock
/// and the shared ownership. Any thread.
class DrawablePool : public std::enable_shared_from_this<DrawablePool> {
public:
    using TexturePtr = std::shared_ptr<gpu::Texture>;
    /// Runs on the device's callback thread after a drawable was shown.
    using PresentHandler = std::function<void()>;

    /// Pictures that may be out of the pool while frames are drawn one by one.
    static constexpr std::size_t mostHeld = 4;

    explicit DrawablePool(std::shared_ptr<gpu::Device> device, PresentHandler presented = {});

    /// A drawable that comes back by itself, shown or not. Null when all textures are in use (there
    /// are as many as frames can be in flight) or the device has no memory for another one.
    /// `time` is a number of the caller's that stays with the picture.
    std::shared_ptr<gpu::Drawable> nextDrawable(std::int64_t time = 0);

    struct Shown {
        TexturePtr texture;
        std::int64_t time = 0;
    };
    /// Takes the picture shown last out of the pool, to be handed to giveBack(). Null when there is
    /// none that was not taken before.
    Shown takeShown();
    void giveBack(TexturePtr texture);

    /// Blocks until every drawable handed out has been shown or dropped, and returns the picture
    /// shown last, which stays in the pool.
    TexturePtr waitForShown();
    /// Number of drawables shown so far. A frame that fails adds nothing.
    std::uint64_t shownCount() const;
    /// No drawable shown from now on runs the handler, and none runs it still.
    void removePresentHandler();

private:
    class PooledDrawable;
    // Three frames in flight, one on its way to the screen, one shown.
    static constexpr std::size_t maxTextures = mostHeld + 1;

    TexturePtr take();
    TexturePtr makeTexture() SL42_REQUIRES(m_mutex);
    void show(TexturePtr texture, std::int64_t time);
    void drop(TexturePtr texture);
    void settle() SL42_REQUIRES(m_mutex);

    std::shared_ptr<gpu::Device> m_device;
    platform::SharedPool m_memory = platform::makeSharedPool(); ///< for the drawables
    platform::Mutex m_handlerMutex;
    PresentHandler m_presented SL42_GUARDED_BY(m_handlerMutex);
    mutable platform::Mutex m_mutex;
    platform::Condition m_settled;
    std::vector<TexturePtr> m_free SL42_GUARDED_BY(m_mutex);
    TexturePtr m_shown SL42_GUARDED_BY(m_mutex);
    std::int64_t m_shownTime SL42_GUARDED_BY(m_mutex) = 0;
    std::size_t m_count SL42_GUARDED_BY(m_mutex) = 0;
    std::size_t m_pending SL42_GUARDED_BY(m_mutex) = 0;
    std::uint64_t m_shownCount SL42_GUARDED_BY(m_mutex) = 0;
};

} // namespace starloom
