// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/audio/AudioRenderer.h"

#include "platform/base/Fatal.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <iterator>
#include <limits>
#include <string>
#include <utility>

namespace starloom {

/// Only songs that take longer show how far they are.
static constexpr std::chrono::milliseconds progressDelay(500);

AudioRenderer::AudioRenderer(std::shared_ptr<gpu::CommandQueue> queue,
                             platform::MainQueue& mainQueue, platform::AudioEngine& audioEngine,
                             platform::Log& log)
    : m_queue(std::move(queue)),
      m_mainQueue(mainQueue),
      m_audioEngine(audioEngine),
      m_log(log),
      m_playerNode(audioEngine.attachPlayerNode()),
      m_anchor(mainQueue) {}

void AudioRenderer::internalRender(const RenderData& renderData, Rendered rendered) {
    if (!audioShader)
        platform::fatalError("There is no audio kernel to render with");
    const RenderedFrom from{audioShader->pipelineState()->fingerprint(),
                            renderData.machine.audioSpec};
    const bool isKnown = from.kernel != gpu::Fingerprint{};
    m_rendered = std::move(rendered);
    if (isKnown && m_rendering && m_renderingFrom == from)
        return;
    stopRendering();
    if (isKnown && m_renderedFrom == from) {
        m_anchor.async([this] {
            if (!m_rendering)
                m_rendered({});
        });
        return;
    }
    m_renderingFrom = from;
    const auto start = std::chrono::steady_clock::now();
    m_rendering = std::make_unique<SongRendering>(
        m_queue, m_mainQueue, audioShader, renderData, [this, start] { publishProgress(start); },
        [this](SongRendering::Result song) { take(std::move(song)); });
}

void AudioRenderer::stopRendering() {
    m_rendering.reset();
    if (m_progress.get())
        m_progress.set(std::nullopt);
}

void AudioRenderer::publishProgress(std::chrono::steady_clock::time_point start) {
    if (std::chrono::steady_clock::now() - start >= progressDelay)
        m_progress.set(m_rendering->progress());
}

void AudioRenderer::take(SongRendering::Result song) {
    stopRendering();
    if (!song)
        return m_rendered(song.error());
    if (song->buffer) {
        m_renderedFrom = m_renderingFrom;
        m_hasAudio = song->hasSound;
        handOver(std::move(song->buffer));
    } else {
        m_log.line("Failed to create audio format or audio buffer");
    }
    m_rendered({});
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
        m_anchor.async([this] {
            if (m_isPlaying.get())
                return; // started again meanwhile
            m_playerNode->stop();
            m_fades.clear();
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

// The new player is in phase with the old one, so that the beat goes on. A crossfade that is still
// running is cut short: what it faded in is at full volume when it is faded out in turn.
void AudioRenderer::replaceBufferWithCrossfade(std::shared_ptr<const PCMBuffer> buffer) {
    m_audioBuffer = std::move(buffer);
    if (!m_playerNode->isPlaying())
        return;
    if (m_audioBuffer->frameLength() == 0)
        platform::fatalError("The song has no samples");
    std::shared_ptr<platform::AudioPlayerNode> fadingIn = m_playerNode->playInPhase(m_audioBuffer);
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
