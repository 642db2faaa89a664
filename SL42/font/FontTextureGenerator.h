// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Makes the texture that the text functions of the prelude read: printable ASCII in four type
// styles, drawn on the host by a thread of its own and merged by the device.
//
// To use it, make one with the queue that renders the frames, and bind what textureSoFar() returns
// in every frame: text appears by itself some frames after the start, and nobody waits for it.
// Where every frame must be right, as in a film, call texture() first. Both return the same
// texture, from the first call to the last.
#pragma once

#include "SL42/font/FontDrawing.h"
#include "gpu/Device.h"
#include "platform/Log.h"

#include <future>
#include <memory>
#include <stop_token>

namespace starloom {

/// Draws once, in about 90 ms, or reads what FontCache has kept of an earlier start. Until they are
/// merged, the four pictures are in memory too (at most 64 MB with the usual size).
/// Belongs to one thread, that which fills the queue.
class FontTextureGenerator {
public:
    /// Starts the drawing and returns. `log` must outlive the generator. `textureSize` is width
    /// and height in pixels. Stops the program when the device cannot make the texture.
    FontTextureGenerator(std::shared_ptr<gpu::Device> device,
                         std::shared_ptr<gpu::CommandQueue> queue, platform::Log& log,
                         FontNames font = {}, double textureSize = 4096);
    /// Ends the drawing early when it still goes on.
    ~FontTextureGenerator();
    FontTextureGenerator(const FontTextureGenerator&) = delete;
    FontTextureGenerator& operator=(const FontTextureGenerator&) = delete;

    /// Waits until the texture is complete: RGBA8Unorm with all mip levels; red holds the coverage
    /// of the regular style, green bold, blue italic, alpha outline. Stops the program when there
    /// is no font at all, or the device does not take the work. If the device takes it but fails
    /// to do it, repeatedly, says so on `log`: the texture is then incomplete or blank.
    const std::shared_ptr<gpu::Texture>& texture();

    /// Never waits: the texture as it is by now, which at first is blank. Each call moves the work
    /// on as far as it goes, so call it once a frame. Stops the program like texture().
    const std::shared_ptr<gpu::Texture>& textureSoFar();

    /// True once there is nothing left to wait for.
    bool isComplete() const { return m_stage == Stage::Complete; }

private:
    enum class Stage { Drawing, Merging, Complete };

    /// What the thread brings.
    struct Drawn {
        FontPictures pictures;
        platform::Result<std::shared_ptr<gpu::ComputePipelineState>> pipeline;
    };

    void takePictures();
    void commitStep();
    void finishStep();
    void encodeMerge(gpu::CommandBuffer& commandBuffer) const;
    void encodeMipmaps(gpu::CommandBuffer& commandBuffer) const;

    std::shared_ptr<gpu::Device> m_device;
    std::shared_ptr<gpu::CommandQueue> m_queue;
    platform::Log& m_log;
    FontGrid m_grid;
    std::shared_ptr<gpu::Texture> m_texture;
    Stage m_stage = Stage::Drawing;
    /// Each style until it is merged.
    FontPictures m_pictures;
    /// The styles one after the other, then the mip levels: a command buffer each, so that frames
    /// come in between and a slow device keeps to its time limit.
    std::size_t m_step = 0;
    int m_attempts = 0;
    std::shared_ptr<gpu::CommandBuffer> m_work;
    /// That merges them.
    std::shared_ptr<gpu::ComputePipelineState> m_pipeline;
    std::stop_source m_stop;
    /// Last, so that the thread ends before what it uses.
    std::future<platform::Result<Drawn>> m_drawing;
};

} // namespace starloom
