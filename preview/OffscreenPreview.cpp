// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "preview/OffscreenPreview.h"

#include <condition_variable>
#include <mutex>
#include <utility>
#include <vector>

namespace starloom {

using TexturePtr = std::shared_ptr<gpu::Texture>;

// The textures behind the drawables. Drawables come back from the device's callback thread and may
// outlive the view, hence the lock and the shared ownership.
class OffscreenPreview::Pool {
public:
    explicit Pool(std::shared_ptr<gpu::Device> device) : m_device(std::move(device)) {}

    TexturePtr take() {
        const std::lock_guard lock(m_mutex);
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

    void show(TexturePtr texture) {
        const std::lock_guard lock(m_mutex);
        if (m_shown)
            m_free.push_back(std::move(m_shown));
        m_shown = std::move(texture);
        ++m_shownCount;
        settle();
    }

    void drop(TexturePtr texture) {
        const std::lock_guard lock(m_mutex);
        m_free.push_back(std::move(texture));
        settle();
    }

    TexturePtr waitForPicture() {
        std::unique_lock lock(m_mutex);
        m_settled.wait(lock, [this] { return m_pending == 0; });
        return m_shown;
    }

    std::uint64_t shownCount() {
        const std::lock_guard lock(m_mutex);
        return m_shownCount;
    }

private:
    // Three frames in flight, one on its way to the screen, one shown.
    static constexpr std::size_t maxTextures = 5;

    TexturePtr makeTexture() {
        TexturePtr texture = m_device->makeTexture({.format = gpu::PixelFormat::RGBA16Float,
                                                    .width = drawableWidth,
                                                    .height = drawableHeight,
                                                    .mipLevels = 1});
        if (texture) {
            texture->setLabel("Drawable");
            ++m_count;
        }
        return texture;
    }

    void settle() {
        --m_pending;
        m_settled.notify_all();
    }

    std::shared_ptr<gpu::Device> m_device;
    std::mutex m_mutex;
    std::condition_variable m_settled;
    std::vector<TexturePtr> m_free;
    TexturePtr m_shown;
    std::size_t m_count = 0;
    std::size_t m_pending = 0;
    std::uint64_t m_shownCount = 0;
};

// Goes back to the pool exactly once: when it is presented, or else when the last owner lets go.
class OffscreenPreview::OffscreenDrawable final : public gpu::Drawable {
public:
    OffscreenDrawable(std::shared_ptr<Pool> pool, TexturePtr texture)
        : m_pool(std::move(pool)), m_texture(std::move(texture)) {}
    ~OffscreenDrawable() override {
        if (!m_presented)
            m_pool->drop(std::move(m_texture));
    }

    TexturePtr texture() override { return m_texture; }
    void present() override {
        if (!std::exchange(m_presented, true))
            m_pool->show(m_texture);
    }

private:
    std::shared_ptr<Pool> m_pool;
    TexturePtr m_texture;
    bool m_presented = false;
};

OffscreenPreview::OffscreenPreview(std::shared_ptr<gpu::Device> device)
    : m_pool(std::make_shared<Pool>(std::move(device))) {}

OffscreenPreview::~OffscreenPreview() = default;

std::shared_ptr<gpu::Drawable> OffscreenPreview::currentDrawable() {
    TexturePtr texture = m_pool->take();
    return texture ? std::make_shared<OffscreenDrawable>(m_pool, std::move(texture)) : nullptr;
}

void OffscreenPreview::refresh() {
    m_needsDisplay = false;
    if (delegate())
        delegate()->draw(*this);
}

TexturePtr OffscreenPreview::waitForPicture() {
    return m_pool->waitForPicture();
}

std::uint64_t OffscreenPreview::pictureCount() const {
    return m_pool->shownCount();
}

} // namespace starloom
