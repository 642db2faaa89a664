// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The audio stage: runs the program's sfx() once for every sample of the whole song and hands the
// result to playback, which loops it. A song that is rendered while another one plays replaces it
// in phase, over a crossfade of one beat.
#pragma once

#include "SL42/audio/ExportAAC.h"
#include "SL42/audio/FFTValues.h"
#include "SL42/engine/MachineBuffers.h"
#include "Shader/ComputeShader.h"
#include "platform/Log.h"
#include "platform/MainQueue.h"
#include "platform/Published.h"
#include "platform/Timer.h"
#include "platform/audio/AudioEngine.h"
#include "platform/audio/PCMBuffer.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <vector>

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
                  platform::AudioEngine& audioEngine, platform::Log& log);

    /// Renders the whole song, waits for it, and queues its playback on the main queue. Returns
    /// the device's error when it fails at it; playback then stays as it was. Call it only when
    /// there is an audioShader.
    std::optional<gpu::CommandBufferError> internalRender(const RenderData& renderData);

    /// Position in the song, in samples; 0 while nothing plays. It goes on counting when the song
    /// loops, until a crossfade brings it back into the first round of the new song. Stops the
    /// program beyond 32 bits (after more than a day).
    std::uint32_t sample() const;
    /// Starts the song over, if it is playing.
    void reset();

    /// True once a song with sound has been rendered, until a silent one is.
    bool hasAudio() const { return m_hasAudio; }
    const platform::Published<bool>& isPlaying() const { return m_isPlaying; }
    /// Starts the song from its beginning, or stops it once the main queue gets to it.
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
    bool initiatePlayback();
    void replaceBufferWithCrossfade(std::shared_ptr<const PCMBuffer> buffer);
    void reportLatencies();
    void runOnMainQueue(std::function<void(AudioRenderer&)> task);

    std::shared_ptr<gpu::CommandQueue> m_queue;
    platform::MainQueue& m_mainQueue;
    platform::AudioEngine& m_audioEngine;
    platform::Log& m_log;
    std::shared_ptr<const PCMBuffer> m_audioBuffer;
    bool m_hasAudio = false;
    platform::Published<bool> m_isPlaying;
    bool m_playbackInitiated = false;
    /// The player that can be heard, or is being faded in.
    std::shared_ptr<platform::AudioPlayerNode> m_playerNode;
    std::vector<platform::Timer> m_fades;
    /// Tells tasks on the main queue whether this object is still there.
    std::shared_ptr<AudioRenderer*> m_self = std::make_shared<AudioRenderer*>(this);
};

} // namespace starloom
