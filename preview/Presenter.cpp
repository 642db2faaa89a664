// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "preview/Presenter.h"

#include "platform/image/DisplayColours.h"
#include "preview/MTLPreview.h"

#include <atomic>
#include <utility>

namespace starloom {

static constexpr PictureScaler::Size drawableSize{MTLPreview::drawableWidth,
                                                  MTLPreview::drawableHeight};

Presenter::Presenter(std::shared_ptr<gpu::Device> device, Deliver deliver)
    : m_deliver(std::move(deliver)),
      m_pool(std::make_shared<DrawablePool>(std::move(device), [this] { wake(); })),
      m_image(drawableSize.width, drawableSize.height),
      m_converted(drawableSize.area()),
      m_target(drawableSize),
      m_thread([this] { run(); }) {}

Presenter::~Presenter() {
    m_pool->removePresentHandler(); // drawables in flight outlive us
    {
        const std::lock_guard lock(m_mutex);
        m_done = true;
    }
    m_changed.notify_one();
    m_thread.join();
}

platform::Image Presenter::picture() {
    const std::lock_guard lock(m_imageMutex);
    return m_image;
}

void Presenter::setTargetSize(PictureScaler::Size size) {
    {
        const std::lock_guard lock(m_mutex);
        if (std::exchange(m_target, size) == size)
            return;
    }
    wake();
}

void Presenter::wake() {
    {
        const std::lock_guard lock(m_mutex);
        m_work = true;
    }
    m_changed.notify_one();
}

std::optional<PictureScaler::Size> Presenter::waitForWork() {
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [this] { return m_work || m_done; });
    m_work = false;
    return m_done ? std::nullopt : std::optional(m_target);
}

void Presenter::run() {
    bool anyShown = false;
    while (const auto target = waitForWork()) {
        anyShown = convertShown() || anyShown;
        if (!anyShown || target->area() == 0)
            continue;
        if (!m_scaler || m_scaler->target() != *target)
            m_scaler.emplace(drawableSize, *target);
        auto picture = unusedPicture(*target);
        m_scaler->scale(m_converted, picture->pixels);
        m_deliver(std::move(picture));
    }
}

bool Presenter::convertShown() {
    auto texture = m_pool->takeShown();
    if (!texture)
        return false;
    constexpr std::size_t rowLength = drawableSize.width * sizeof(std::uint64_t);
    bool read = false;
    {
        const std::lock_guard lock(m_imageMutex);
        read = texture->getBytes(0, std::as_writable_bytes(m_image.halves()), rowLength);
    }
    m_pool->giveBack(std::move(texture));
    if (read) // nobody else writes the image
        platform::convertToDisplay(std::as_const(m_image).halves(), m_converted);
    return read;
}

// The interface holds one picture or two; memory for more is never needed for long.
std::shared_ptr<ScreenPicture> Presenter::unusedPicture(PictureScaler::Size size) {
    std::erase_if(m_pictures, [&](const auto& picture) { return picture->size != size; });
    for (const auto& picture : m_pictures) {
        if (picture.use_count() == 1) {
            // Pairs with the release by which the other owner let go.
            std::atomic_thread_fence(std::memory_order_acquire);
            return picture;
        }
    }
    auto picture = std::make_shared<ScreenPicture>(
        ScreenPicture{size, std::vector<std::uint32_t>(size.area())});
    if (m_pictures.size() < 3)
        m_pictures.push_back(picture);
    return picture;
}

} // namespace starloom
