// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "preview/Presenter.h"

#include "platform/base/SharedPool.h"
#include "platform/image/DisplayColours.h"
#include "preview/MTLPreview.h"

#include <cstring>
#include <utility>

namespace starloom {

static constexpr PictureScaler::Size drawableSize{MTLPreview::drawableWidth,
                                                  MTLPreview::drawableHeight};
static constexpr std::size_t rowLength = drawableSize.width * sizeof(std::uint64_t);
static constexpr std::uint32_t black = 0xff000000U;

Presenter::Presenter(std::shared_ptr<gpu::Device> device, Deliver deliver)
    : m_deliver(std::move(deliver)),
      m_pool(std::make_shared<DrawablePool>(std::move(device), [this] { wake(); })),
      m_image(drawableSize.width, drawableSize.height),
      m_converted(drawableSize.area(), black),
      m_target(drawableSize),
      m_thread([this] { run(); }) {}

Presenter::~Presenter() {
    m_pool->removePresentHandler(); // drawables in flight outlive us
    {
        const platform::Lock lock(m_mutex);
        m_done = true;
    }
    m_changed.notifyOne();
    m_thread.join();
}

platform::Image Presenter::picture() {
    const platform::Lock lock(m_imageMutex);
    return m_image;
}

void Presenter::setTargetSize(PictureScaler::Size size) {
    {
        const platform::Lock lock(m_mutex);
        if (std::exchange(m_target, size) == size)
            return;
    }
    wake();
}

void Presenter::wake() {
    {
        const platform::Lock lock(m_mutex);
        m_work = true;
    }
    m_changed.notifyOne();
}

void Presenter::setTap(Tap tap) {
    {
        const platform::Lock lock(m_mutex);
        m_tap = tap ? std::make_shared<const Tap>(std::move(tap)) : nullptr;
        m_tapIsNew = true;
    }
    wake();
}

std::optional<Presenter::Work> Presenter::waitForWork() {
    const platform::Lock lock(m_mutex);
    while (!m_work && !m_done)
        m_changed.wait(m_mutex);
    m_work = false;
    if (m_done)
        return std::nullopt;
    return Work{m_target, m_tap, std::exchange(m_tapIsNew, false)};
}

void Presenter::run() {
    while (const auto work = waitForWork()) {
        const bool changed = takeOverShown();
        if (!m_anyShown)
            continue;
        if (work->tap && (changed || work->tapIsNew))
            (*work->tap)(m_converted, m_shownTime);
        if (work->target.area() == 0)
            continue;
        if (!m_latest || m_latest->size != work->target)
            m_latest = scaledTo(work->target);
        m_deliver(m_latest);
    }
}

bool Presenter::takeOverShown() {
    auto [texture, time] = m_pool->takeShown();
    if (!texture)
        return false;
    m_anyShown = true;
    m_shownTime = time;
    const gpu::TextureRows rows = texture->rows(0);
    bool changed = false;
    {
        const platform::Lock lock(m_imageMutex);
        for (std::size_t y = 0; y < drawableSize.height; ++y)
            changed |= takeOverRow(y, rows.bytes.subspan(y * rows.bytesPerRow, rowLength));
    }
    m_pool->giveBack(std::move(texture));
    if (changed)
        m_latest.reset();
    return changed;
}

bool Presenter::takeOverRow(std::size_t y, std::span<const std::byte> row) {
    constexpr std::size_t halvesPerRow = drawableSize.width * platform::Image::channelsPerPixel;
    const auto halves = m_image.halves().subspan(y * halvesPerRow, halvesPerRow);
    if (std::memcmp(halves.data(), row.data(), rowLength) == 0)
        return false;
    std::memcpy(halves.data(), row.data(), rowLength);
    platform::convertToDisplay(
        halves, std::span(m_converted).subspan(y * drawableSize.width, drawableSize.width));
    return true;
}

std::shared_ptr<const ScreenPicture> Presenter::scaledTo(PictureScaler::Size size) {
    if (!m_scaler || m_scaler->target() != size)
        m_scaler.emplace(drawableSize, size);
    auto picture = unusedPicture(size);
    m_scaler->scale(m_converted, picture->pixels);
    return picture;
}

// The interface holds one picture or two; memory for more is never needed for long.
std::shared_ptr<ScreenPicture> Presenter::unusedPicture(PictureScaler::Size size) {
    std::erase_if(m_pictures, [&](const auto& picture) { return picture->size != size; });
    for (const auto& picture : m_pictures)
        if (platform::isUnshared(picture))
            return picture;
    auto picture = std::make_shared<ScreenPicture>(
        ScreenPicture{size, std::vector<std::uint32_t>(size.area())});
    if (m_pictures.size() < 3)
        m_pictures.push_back(picture);
    return picture;
}

} // namespace starloom
