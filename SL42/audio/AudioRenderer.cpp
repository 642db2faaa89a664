// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/audio/AudioRenderer.h"

#include "platform/base/Fatal.h"

#include <cassert>
#include <cstring>
#include <limits>
#include <utility>

namespace starloom {

/// A whole song is rendered at once, which is no endless loop because it takes longer than a frame.
static constexpr std::chrono::seconds songTimeLimit(20);

AudioRenderer::AudioRenderer(std::shared_ptr<gpu::CommandQueue> queue,
                             platform::MainQueue& mainQueue, const platform::Clock& clock,
                             platform::Log& log)
    : m_queue(std::move(queue)), m_mainQueue(mainQueue), m_clock(clock), m_log(log) {}

static std::uint32_t frameLengthOf(const AudioSpec& spec) {
    const std::uint64_t count = spec.sampleCount(audioSampleRate);
    if (count > std::numeric_limits<std::uint32_t>::max())
        platform::fatalError("The song has too many samples");
    return static_cast<std::uint32_t>(count);
}

void AudioRenderer::render(gpu::CommandBuffer& commandBuffer, const RenderData& renderData) {
    const auto encoder = commandBuffer.makeComputeCommandEncoder();
    if (!encoder)
        platform::fatalError("Couldn't make command buffer or encoder for audio rendering.");
    encoder->setLabel("Audio encoder");
    encoder->setComputePipelineState(audioShader->pipelineState());
    renderData.addToEncoder(*encoder, 0);
    encoder->dispatchThreads({frameLengthOf(renderData.machine.audioSpec), 1, 1}, {64, 1, 1});
    encoder->endEncoding();
}

RenderedSong copySong(std::span<const std::byte> audioMemory, std::uint32_t frameLength) {
    assert(audioMemory.size() >= frameLength * audioSampleLength);
    auto buffer = PCMBuffer::create(frameLength);
    if (!buffer)
        return {};
    const std::byte* source = audioMemory.data();
    float* left = buffer->channel(0).data();
    float* right = buffer->channel(1).data();
    // One pass over memory; a flag per sample without branches keeps the loop vectorised.
    unsigned nonZero = 0;
    for (std::size_t i = 0; i < frameLength; ++i) {
        float sample[2];
        std::memcpy(sample, source + i * audioSampleLength, sizeof sample);
        left[i] = sample[0];
        right[i] = sample[1];
        nonZero |=
            static_cast<unsigned>(sample[0] != 0.0F) | static_cast<unsigned>(sample[1] != 0.0F);
    }
    return {.buffer = std::move(buffer), .hasSound = nonZero != 0};
}

std::optional<gpu::CommandBufferError> AudioRenderer::internalRender(const RenderData& renderData) {
    if (!audioShader)
        platform::fatalError("There is no audio kernel to render with");
    const auto commandBuffer = m_queue->makeCommandBuffer();
    if (!commandBuffer)
        platform::fatalError("Couldn't make command buffer for audio rendering.");
    commandBuffer->setLabel("Audio");
    commandBuffer->setTimeLimit(songTimeLimit);
    render(*commandBuffer, renderData);
    commandBuffer->commit();
    commandBuffer->waitUntilCompleted();
    if (auto error = commandBuffer->error())
        return error;

    RenderedSong song = copySong(renderData.machine.audioMemory->contents(),
                                 frameLengthOf(renderData.machine.audioSpec));
    if (!song.buffer) {
        m_log.line("Failed to create audio format or audio buffer");
        return std::nullopt;
    }
    m_hasAudio = song.hasSound;
    m_mainQueue.async([self = std::weak_ptr(m_self), buffer = std::move(song.buffer)] {
        if (const auto renderer = self.lock())
            (*renderer)->handOver(buffer);
    });
    return std::nullopt;
}

void AudioRenderer::handOver(std::shared_ptr<const PCMBuffer> buffer) {
    if (m_isPlaying.get()) {
        replaceBuffer(std::move(buffer));
    } else {
        m_audioBuffer = std::move(buffer);
        setIsPlaying(true);
    }
}

void AudioRenderer::setIsPlaying(bool playing) {
    if (playing == m_isPlaying.get())
        return;
    m_isPlaying.set(playing);
    if (playing)
        play();
    else
        m_playerStart.reset();
}

void AudioRenderer::play() {
    if (!m_audioBuffer) {
        m_log.line("Attempted to start playback with no audio buffer");
        return;
    }
    m_playerStart = m_clock.now();
}

// The new song takes over in phase with the old one, so the position goes on.
void AudioRenderer::replaceBuffer(std::shared_ptr<const PCMBuffer> buffer) {
    m_audioBuffer = std::move(buffer);
}

void AudioRenderer::reset() {
    if (m_playerStart && m_audioBuffer)
        m_playerStart = m_clock.now();
}

std::uint32_t AudioRenderer::sample() const {
    if (!m_playerStart)
        return 0;
    const double position = (m_clock.now() - *m_playerStart).count() * audioSampleRate;
    if (position >= 0x1p32)
        platform::fatalError("The play position has left its range");
    return position > 0 ? static_cast<std::uint32_t>(position) : 0;
}

} // namespace starloom
