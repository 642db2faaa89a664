// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "preview/DrawablePool.h"

#include "preview/MTLPreview.h"

#include <utility>

namespace starloom {

// Goes back to the pool exactly once: when it is presented, or else when the last owner lets go.
class DrawablePool::PooledDrawable final : public gpu::Drawable {
public:
    PooledDrawable(std::shared_ptr<DrawablePool> pool, TexturePtr texture, std::int64_t time)
        : m_pool(std::move(pool)), m_texture(std::move(texture)), m_time(time) {}
    ~PooledDrawable() override {
        if (!m_presented)
            m_pool->drop(std::move(m_texture));
    }

    TexturePtr texture() override { return m_texture; }
    void present() override {
        if (!std::exchange(m_presented, true))
            m_pool->show(m_texture, m_time);
    }

private:
    std::shared_ptr<DrawablePool> m_pool;
    TexturePtr m_texture;
    std::int64_t m_time;
    bool m_presented = false;
};

DrawablePool::DrawablePool(std::shared_ptr<gpu::Device> device, PresentHandler presented)
    : m_device(std::move(device)), m_presented(std::move(presented)) {}

std::shared_ptr<gpu::Drawable> DrawablePool::nextDrawable(std::int64_t time) {
    TexturePtr texture = take();
    return texture ? platform::makeShared<PooledDrawable>(m_memory, shared_from_this(),
                                                          std::move(texture), time)
                   : nullptr;
}

DrawablePool::TexturePtr DrawablePool::take() {
    const platform::Lock lock(m_mutex);
    TexturePtr texture;
    if (!m_free.empty()) {
        texture = std::move(m_free.back());
        m_free.pop_back();
    } else if (m_count < maxTextures) {
        texture = makeTexture();
    }
    if (texture)
        ++m_pending;
    return texture;
}

DrawablePool::TexturePtr DrawablePool::makeTexture() {
    TexturePtr texture = m_device->makeTexture({.format = gpu::PixelFormat::RGBA16Float,
                                                .width = MTLPreview::drawableWidth,
                                                .height = MTLPreview::drawableHeight,
                                                .mipLevels = 1});
    if (texture) {
        texture->setLabel("Drawable");
        ++m_count;
    }
    return texture;
}

void DrawablePool::show(TexturePtr texture, std::int64_t time) {
    {
        const platform::Lock lock(m_mutex);
        if (m_shown)
            m_free.push_back(std::move(m_shown));
        m_shown = std::move(texture);
        m_shownTime = time;
        ++m_shownCount;
        settle();
    }
    const platform::Lock lock(m_handlerMutex);
    if (m_presented)
        m_presented();
}

void DrawablePool::drop(TexturePtr texture) {
    const platform::Lock lock(m_mutex);
    m_free.push_back(std::move(texture));
    settle();
}

void DrawablePool::settle() {
    --m_pending;
    m_settled.notifyAll();
}

DrawablePool::Shown DrawablePool::takeShown() {
    const platform::Lock lock(m_mutex);
    return {std::move(m_shown), m_shownTime};
}

void DrawablePool::giveBack(TexturePtr texture) {
    const platform::Lock lock(m_mutex);
    m_free.push_back(std::move(texture));
}

DrawablePool::TexturePtr DrawablePool::waitForShown() {
    const platform::Lock lock(m_mutex);
    while (m_pending != 0)
        m_settled.wait(m_mutex);
    return m_shown;
}

std::uint64_t DrawablePool::shownCount() const {
    const platform::Lock lock(m_mutex);
    return m_shownCount;
}

void DrawablePool::removePresentHandler() {
    const platform::Lock lock(m_handlerMutex);
    m_presented = nullptr;
}

} // namespace starloom
