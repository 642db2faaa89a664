// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The audio stage: runs the program's sfx() once for every sample of the whole song and hands the
// result to playback, which loops it. A song that is rendered while another one plays replaces it
// in phase, over a crossfade of one beat.
#pragma once

#include "SL42/audio/ExportAAC.h"
#include "SL42/audio/SongRendering.h"
#include "SL42/hardware/FFTValues.h"
#include "SL42/hardware/MachineBuffers.h"
#include "Shader/ComputeShader.h"
#include "platform/Log.h"
#include "platform/MainQueueAnchor.h"
#include "platform/Published.h"
#include "platform/Timer.h"
#include "platform/audio/AudioEngine.h"
#include "platform/audio/PCMBuffer.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace starloom {

/// Main thread. What it is made with must outlive it.
class AudioRenderer {
public:
    AudioRenderer(std::shared_ptr<gpu::CommandQueue> queue, platform::MainQueue& mainQueue,
                  platform::AudioEngine& audioEngine, platform::Log& log);

    /// Gets the device's error when it failed at the song; playback then stays as it was.
    using Rendered = std::function<void(const std::optional<gpu::CommandBufferError>&)>;

    /// Starts rendering the whole song, in place of one that is still being rendered. Once it is
    /// ready it is played; until then what plays goes on. A song of the same shape by the same
    /// kernel, whatever text that comes from, is not rendered again, nor begun anew. `rendered` is
    /// called in a task of the main queue, unless another song comes first. Call it only when there
    /// is an audioShader.
    void internalRender(const RenderData& renderData, Rendered rendered);
    /// Gives up the song that is being rendered, if any.
    void stopRendering();
    bool isRendering() const { return m_rendering != nullptr; }
    /// How much of a new song is rendered, 0 to 1. Only published for a song that takes longer than
    /// half a second, and none again when it is done.
    const platform::Published<std::optional<double>>& progress() const { return m_progress; }

    /// Position in the song, in samples; 0 while nothing plays. It goes on counting when the song
    /// loops, until a crossfade brings it back into the first pass of the new song. Stops the
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
    void exportAAC(const platform::SavePanel& panel) {
        starloom::exportAAC(m_audioBuffer.get(), panel, m_log);
    }

    /// Null when no program with an sfx() has compiled yet.
    std::shared_ptr<ComputeShader> audioShader;
    /// The song's shape; its tempo sets the length of a crossfade.
    AudioSpec audioSpec;
    FFTValues fftValues;

private:
    /// What makes a song.
    struct RenderedFrom {
        gpu::Fingerprint kernel{};
        AudioSpec spec;
        bool operator==(const RenderedFrom&) const = default;
    };
    void take(SongRendering::Result song);
    void publishProgress(std::chrono::steady_clock::time_point start);
    void handOver(std::shared_ptr<const PCMBuffer> buffer);
    void play();
    bool initiatePlayback();
    void replaceBufferWithCrossfade(std::shared_ptr<const PCMBuffer> buffer);
    void reportLatencies();

    std::shared_ptr<gpu::CommandQueue> m_queue;
    platform::MainQueue& m_mainQueue;
    platform::AudioEngine& m_audioEngine;
    platform::Log& m_log;
    std::shared_ptr<const PCMBuffer> m_audioBuffer;
    bool m_hasAudio = false;
    std::optional<RenderedFrom> m_renderedFrom; ///< the song that was rendered last
    RenderedFrom m_renderingFrom;               ///< the one that is being rendered
    Rendered m_rendered;                        ///< is told of it
    std::unique_ptr<SongRendering> m_rendering;
    platform::Published<std::optional<double>> m_progress;
    platform::Published<bool> m_isPlaying;
    bool m_playbackInitiated = false;
    /// The player that can be heard, or is being faded in.
    std::shared_ptr<platform::AudioPlayerNode> m_playerNode;
    std::vector<platform::Timer> m_fades;
    platform::MainQueueAnchor m_anchor;
};

} // namespace starloom
