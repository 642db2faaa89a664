// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The audio stage: runs the program's sfx() once for every sample of the whole song and hands the
// result to playback, which loops it. The play position follows the injected clock; no sound
// leaves the machine yet.
#pragma once

#include "SL42/audio/ExportAAC.h"
#include "SL42/audio/FFTValues.h"
#include "SL42/engine/MachineBuffers.h"
#include "Shader/ComputeShader.h"
#include "platform/Clock.h"
#include "platform/Log.h"
#include "platform/MainQueue.h"
#include "platform/Published.h"
#include "platform/audio/PCMBuffer.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <span>

namespace starloom {

using platform::PCMBuffer;

/// What the device wrote to the audio memory, taken apart into one plane per channel.
struct RenderedSong {
    std::shared_ptr<const PCMBuffer> buffer;
    /// Whether any sample differs from zero.
    bool hasSound = false;
};

/// Copies a song of `frameLength` interleaved stereo samples. The buffer is null when there is no
/// memory for it.
RenderedSong copySong(std::span<const std::byte> audioMemory, std::uint32_t frameLength);

/// Main thread. What it is made with must outlive it.
class AudioRenderer {
public:
    AudioRenderer(std::shared_ptr<gpu::CommandQueue> queue, platform::MainQueue& mainQueue,
                  const platform::Clock& clock, platform::Log& log);

    /// Renders the whole song, waits for it, and queues its playback on the main queue. Returns
    /// the device's error when it fails at it; playback then stays as it was. Call it only when
    /// there is an audioShader.
    std::optional<gpu::CommandBufferError> internalRender(const RenderData& renderData);

    /// Position of the player in samples since it was started; 0 while nothing plays. It goes on
    /// counting when the song loops. Stops the program beyond 32 bits (after more than a day).
    std::uint32_t sample() const;
    /// Starts the song over, if it is playing.
    void reset();

    /// True once a song with sound has been rendered, until a silent one is.
    bool hasAudio() const { return m_hasAudio; }
    const platform::Published<bool>& isPlaying() const { return m_isPlaying; }
    /// Starts the song from its beginning, or stops it.
    void setIsPlaying(bool playing);
    /// The song rendered last; null until there is one.
    const std::shared_ptr<const PCMBuffer>& audioBuffer() const { return m_audioBuffer; }
    /// Saves that song under a name that the user chooses; see ExportAAC.h.
    void exportAAC(const SaveDialog& saveDialog) {
        starloom::exportAAC(m_audioBuffer.get(), saveDialog, m_log);
    }

    /// Null when no program with an sfx() has compiled yet.
    std::unique_ptr<ComputeShader> audioShader;
    /// The song's shape; its tempo sets the length of a crossfade.
    AudioSpec audioSpec;
    FFTValues fftValues;

private:
    void render(gpu::CommandBuffer& commandBuffer, const RenderData& renderData);
    void handOver(std::shared_ptr<const PCMBuffer> buffer);
    void play();
    void replaceBuffer(std::shared_ptr<const PCMBuffer> buffer);

    std::shared_ptr<gpu::CommandQueue> m_queue;
    platform::MainQueue& m_mainQueue;
    const platform::Clock& m_clock;
    platform::Log& m_log;
    std::shared_ptr<const PCMBuffer> m_audioBuffer;
    bool m_hasAudio = false;
    platform::Published<bool> m_isPlaying;
    /// When the player was at sample 0; none while it is stopped.
    std::optional<platform::Seconds> m_playerStart;
    /// Tells tasks on the main queue whether this object is still there.
    std::shared_ptr<AudioRenderer*> m_self = std::make_shared<AudioRenderer*>(this);
};

} // namespace starloom
