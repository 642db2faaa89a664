// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A song on its way from sfx() to samples. The device renders it in pieces of some milliseconds,
// so that frames are drawn in between, however long the song is; as each piece arrives, its samples
// are copied to one plane per channel. Destroying the object cancels the rendering.
#pragma once

#include "SL42/hardware/MachineBuffers.h"
#include "Shader/ComputeShader.h"
#include "platform/MainQueueAnchor.h"
#include "platform/audio/PCMBuffer.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>

namespace starloom {

using platform::PCMBuffer;

/// A rendered song, one plane per channel.
struct RenderedSong {
    /// Null when there is no memory for it.
    std::shared_ptr<PCMBuffer> buffer;
    /// Whether any sample differs from zero.
    bool hasSound = false;

    /// Copies samples from the device's interleaved ones, to the same place; `first` and `count`
    /// are in samples.
    void copy(std::span<const std::byte> audioMemory, std::size_t first, std::size_t count);
};

/// Main thread.
class SongRendering {
public:
    using Result = platform::Result<RenderedSong, gpu::CommandBufferError>;
    using Finished = std::function<void(Result)>;

    /// Starts it. `finished` is called once, in a task of the main queue, also when the song has no
    /// samples; it may destroy the object. `progressed` is called after each piece but the last.
    SongRendering(std::shared_ptr<gpu::CommandQueue> queue, platform::MainQueue& mainQueue,
                  std::shared_ptr<ComputeShader> shader, RenderData renderData,
                  std::function<void()> progressed, Finished finished);

    /// How much is done, 0 to 1.
    double progress() const;

private:
    void renderPiece();
    void pieceRendered(double milliseconds);
    void pieceFailed(const gpu::CommandBufferError& error);
    void finish(Result result);

    std::shared_ptr<gpu::CommandQueue> m_queue;
    std::shared_ptr<ComputeShader> m_shader;
    RenderData m_renderData;
    std::function<void()> m_progressed;
    Finished m_finished;
    std::uint32_t m_sampleCount;
    std::uint32_t m_done = 0;
    std::uint32_t m_piece; ///< samples of the next one
    unsigned m_attempts = 0;
    RenderedSong m_song;
    platform::MainQueueAnchor m_anchor;
};

} // namespace starloom
