// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Memory for one captured frame: a luma and a chroma plane that the device samples where they lie.
#pragma once

#include "SL42/hardware/YUVTexture.h"
#include "gpu/Device.h"
#include "platform/base/Mutex.h"
#include "platform/base/Result.h"
#include "platform/base/SharedMemory.h"
#include "platform/capture/YUVConverter.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace starloom {

/// Written on one thread and made textures of on another, one after the other.
class CaptureSurface {
public:
    static constexpr std::uint32_t maxExtent = 16384;

    /// Null when there is no memory, or the size is not 1 to maxExtent.
    static std::shared_ptr<CaptureSurface> create(std::uint32_t width, std::uint32_t height);

    std::uint32_t width() const { return m_width; }
    std::uint32_t height() const { return m_height; }
    /// To be written to while nobody uses the textures.
    platform::YUVPlanes planes();
    /// Textures over the planes; nothing is copied. Made with the first call. Fails with "Failed to
    /// create texture from IOSurface".
    platform::Result<YUVTexture> texture(gpu::Device& device);
    /// Whether the planes may be written to, as far as their textures are concerned.
    bool isUnused() const;

private:
    CaptureSurface(std::shared_ptr<platform::SharedMemory> memory, std::uint32_t width,
                   std::uint32_t height);

    std::shared_ptr<platform::SharedMemory> m_memory;
    std::uint32_t m_width;
    std::uint32_t m_height;
    std::size_t m_lumaBytesPerRow;
    std::size_t m_chromaBytesPerRow;
    std::size_t m_chromaOffset;
    YUVTexture m_texture;
};

/// Surfaces that are used again and again. Any thread.
class CaptureSurfacePool {
public:
    /// One being written, one on its way, one shown, three in frames in flight, and two to spare.
    static constexpr std::size_t maxSurfaces = 8;

    /// Null when all are in use, or there is no memory. The caller holds it as long as it uses it.
    std::shared_ptr<CaptureSurface> take(std::uint32_t width, std::uint32_t height);

private:
    platform::Mutex m_mutex;
    std::vector<std::shared_ptr<CaptureSurface>> m_surfaces SL42_GUARDED_BY(m_mutex);
};

} // namespace starloom
