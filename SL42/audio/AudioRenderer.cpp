// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/audio/AudioRenderer.h"

#include "platform/base/Fatal.h"

#include <algorithm>
#include <cassert>
#include <charconv>
#include <chrono>
#include <cstring>
#include <iterator>
#include <limits>
#include <string>
#include <utility>

namespace starloom {

/// A whole song is rendered at once, which is no endless loop because it takes longer than a frame.
static constexpr std::chrono::seconds songTimeLimit(20);

AudioRenderer::AudioRenderer(std::shared_ptr<gpu::CommandQueue> queue,
                             platform::MainQueue& mainQueue, platform::AudioEngine& audioEngine,
                             platform::Log& log)
    : m_queue(std::move(queue)),
      m_mainQueue(mainQueue),
      m_audioEngine(audioEngine),
      m_log(log),
      m_playerNode(audioEngine.attachPlayerNode()) {}

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
    runOnMainQueue(
        [buffer = std::move(song.buffer)](AudioRenderer& renderer) { renderer.handOver(buffer); });
    return std::nullopt;
}

void AudioRenderer::runOnMainQueue(std::function<void(AudioRenderer&)> task) {
    m_mainQueue.async([self = std::weak_ptr(m_self), task = std::move(task)] {
        if (const auto renderer = self.lock())
            task(**renderer);
    });
}

void AudioRenderer::handOver(std::shared_ptr<const PCMBuffer> buffer) {
    if (m_playerNode->isPlaying()) {
        replaceBufferWithCrossfade(std::move(buffer));
        return;
    }
    m_audioBuffer = std::move(buffer);
    if (!m_isPlaying.get())
        setIsPlaying(true);
    else
        play(); // what was to be played before could not be
}

void AudioRenderer::setIsPlaying(bool playing) {
    if (playing == m_isPlaying.get())
        return;
    m_isPlaying.set(playing);
    if (playing)
        play();
    else
        runOnMainQueue([](AudioRenderer& renderer) {
            if (renderer.m_isPlaying.get())
                return; // started again meanwhile
            renderer.m_playerNode->stop();
            renderer.m_fades.clear();
        });
}

void AudioRenderer::play() {
    if (!m_audioBuffer) {
        m_log.line("Attempted to start playback with no audio buffer");
        return;
    }
    if (!initiatePlayback())
        return;
    if (m_playerNode->isPlaying()) {
        replaceBufferWithCrossfade(m_audioBuffer);
    } else {
        m_playerNode->schedule(m_audioBuffer, 0);
        m_playerNode->play();
    }
    reportLatencies();
}

bool AudioRenderer::initiatePlayback() {
    if (m_playbackInitiated)
        return true;
    m_log.line("Initialising playback engine");
    const auto started = m_audioEngine.start();
    m_log.line(std::to_string(m_audioEngine.deviceIdentifier()));
    if (!started)
        m_log.line(started.error().message);
    m_playbackInitiated = started.hasValue();
    return m_playbackInitiated;
}

/// One tick of a crossfade; says whether there are more.
static bool fade(platform::AudioPlayerNode& from, platform::AudioPlayerNode& to, float step) {
    const float volume = std::min(to.volume() + step, 1.0F);
    to.setVolume(volume);
    from.setVolume(1.0F - volume);
    if (volume < 1.0F)
        return true;
    from.stop();
    return false;
}

// The new player begins where the old one is in its loop, so that the beat goes on. A crossfade
// that is still running is cut short: what it faded in is at full volume when it is faded out in
// turn.
void AudioRenderer::replaceBufferWithCrossfade(std::shared_ptr<const PCMBuffer> buffer) {
    m_audioBuffer = std::move(buffer);
    const auto position = m_playerNode->position();
    if (!position)
        return;
    if (m_audioBuffer->frameLength() == 0)
        platform::fatalError("The song has no samples");
    const std::int64_t start = -*position % std::int64_t{m_audioBuffer->frameLength()};

    std::shared_ptr<platform::AudioPlayerNode> fadingIn = m_audioEngine.attachPlayerNode();
    fadingIn->setVolume(0);
    fadingIn->schedule(m_audioBuffer, start);
    fadingIn->play();
    m_playerNode->setVolume(1);
    const auto fadingOut = std::exchange(m_playerNode, fadingIn);

    constexpr unsigned ticksPerSecond = 60;
    constexpr auto interval = std::chrono::nanoseconds(std::chrono::seconds(1)) / ticksPerSecond;
    const double beat = 60.0 / static_cast<double>(audioSpec.bpm);
    const auto step = static_cast<float>(1.0 / (beat * ticksPerSecond));
    std::erase_if(m_fades, [](const auto& timer) { return !timer.isRunning(); });
    m_fades.emplace_back(m_mainQueue, interval,
                         [fadingOut, fadingIn, step] { return fade(*fadingOut, *fadingIn, step); });
    reportLatencies();
}

/// With a decimal point, also where the number is whole.
static std::string decimal(double number) {
    char digits[32];
    const auto end = std::to_chars(std::begin(digits), std::end(digits), number).ptr;
    const std::string text(digits, end);
    return text.find_first_of(".e") == text.npos ? text + ".0" : text;
}

void AudioRenderer::reportLatencies() {
    m_log.line("Outnode latency: " + decimal(m_audioEngine.outputLatency().count()));
    m_log.line("Player latency: " + decimal(m_playerNode->latency().count()));
}

void AudioRenderer::reset() {
    if (!m_playerNode->isPlaying() || !m_audioBuffer)
        return;
    m_playerNode->stop();
    m_playerNode->schedule(m_audioBuffer, 0);
    m_playerNode->play();
}

std::uint32_t AudioRenderer::sample() const {
    const auto position = m_isPlaying.get() ? m_playerNode->position() : std::nullopt;
    if (!position || *position < 0)
        return 0;
    if (*position > std::numeric_limits<std::uint32_t>::max())
        platform::fatalError("The play position has left its range");
    return static_cast<std::uint32_t>(*position);
}

} // namespace starloom
