// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/capture/CaptureSurface.h"

#include "platform/base/SharedPool.h"

#include <utility>

namespace starloom {

/// Rows and planes begin where vector instructions like it.
static constexpr std::size_t aligned(std::size_t bytes) {
    return (bytes + 63) / 64 * 64;
}

std::shared_ptr<CaptureSurface> CaptureSurface::create(std::uint32_t width, std::uint32_t height) {
    if (width == 0 || height == 0 || width > maxExtent || height > maxExtent)
        return nullptr;
    const std::size_t luma = aligned(width) * height;
    const std::size_t chroma =
        aligned(std::size_t{2} * platform::chromaExtent(width)) * platform::chromaExtent(height);
    auto memory = platform::SharedMemory::create(luma + chroma, "captured window");
    if (!memory || (*memory)->bytes().empty())
        return nullptr;
    return std::shared_ptr<CaptureSurface>(new CaptureSurface(std::move(*memory), width, height));
}

CaptureSurface::CaptureSurface(std::shared_ptr<platform::SharedMemory> memory, std::uint32_t width,
                               std::uint32_t height)
    : m_memory(std::move(memory)),
      m_width(width),
      m_height(height),
      m_lumaBytesPerRow(aligned(width)),
      m_chromaBytesPerRow(aligned(std::size_t{2} * platform::chromaExtent(width))),
      m_chromaOffset(m_lumaBytesPerRow * height) {}

platform::YUVPlanes CaptureSurface::planes() {
    const auto bytes = m_memory->bytes();
    return {.luma = bytes.first(m_chromaOffset),
            .lumaBytesPerRow = m_lumaBytesPerRow,
            .chroma = bytes.subspan(m_chromaOffset),
            .chromaBytesPerRow = m_chromaBytesPerRow,
            .width = m_width,
            .height = m_height};
}

platform::Result<YUVTexture> CaptureSurface::texture(gpu::Device& device) {
    if (!m_texture.y)
        m_texture.y = device.makeTexture(
            {.format = gpu::PixelFormat::R8Unorm, .width = m_width, .height = m_height}, m_memory,
            0, m_lumaBytesPerRow);
    if (!m_texture.uv)
        m_texture.uv = device.makeTexture({.format = gpu::PixelFormat::RG8Unorm,
                                           .width = platform::chromaExtent(m_width),
                                           .height = platform::chromaExtent(m_height)},
                                          m_memory, m_chromaOffset, m_chromaBytesPerRow);
    if (!m_texture.y || !m_texture.uv)
        return platform::Error{"Failed to create texture from IOSurface"};
    return m_texture;
}

bool CaptureSurface::isUnused() const {
    return platform::isUnshared(m_texture.y) && platform::isUnshared(m_texture.uv);
}

std::shared_ptr<CaptureSurface> CaptureSurfacePool::take(std::uint32_t width,
                                                         std::uint32_t height) {
    const platform::Lock lock(m_mutex);
    std::erase_if(m_surfaces, [&](const auto& surface) {
        return surface->width() != width || surface->height() != height;
    });
    for (const auto& surface : m_surfaces)
        if (platform::isUnshared(surface) && surface->isUnused())
            return surface;
    if (m_surfaces.size() == maxSurfaces)
        return nullptr;
    auto surface = CaptureSurface::create(width, height);
    if (surface)
        m_surfaces.push_back(surface);
    return surface;
}

} // namespace starloom
