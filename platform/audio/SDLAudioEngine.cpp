// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/audio/SDLAudioEngine.h"

#include "platform/audio/MixerPlayerNode.h"
#include "platform/base/Mutex.h"

#include <algorithm>
#include <chrono>
#include <span>

namespace platform {

static constexpr const char* backLine = "Audio output is back";

/// What SDL's threads use too; a device that cannot be closed may outlive the engine.
struct SDLAudioEngine::Output {
    Output(const Clock& clock, Log& theLog) : mixer(clock), log(&theLog) {}

    void change(const SDLAudioChange& change);
    void render(std::span<float> block);

    AudioMixer mixer;
    Mutex rendering;                                  ///< held during a block
    bool hasEnded SL42_GUARDED_BY(rendering) = false; ///< the engine has gone, and its clock may
    Mutex mutex;
    Condition changed;
    Log* log SL42_GUARDED_BY(mutex);           ///< null once the engine has gone
    bool known SL42_GUARDED_BY(mutex) = false; ///< whether there is a device or not
    bool wasLost SL42_GUARDED_BY(mutex) = false;
    std::uint32_t identifier SL42_GUARDED_BY(mutex) = 0;
    Seconds latency SL42_GUARDED_BY(mutex){0};
};

void SDLAudioEngine::Output::change(const SDLAudioChange& change) {
    const Lock lock(mutex);
    if (log == nullptr)
        return;
    known = true;
    identifier = change.identifier;
    latency = change.latency;
    switch (change.kind) {
    case SDLAudioChange::Kind::Opened:
        mixer.attachDevice();
        if (std::exchange(wasLost, false))
            log->line(backLine);
        break;
    case SDLAudioChange::Kind::Failed:
    case SDLAudioChange::Kind::Lost:
        mixer.detachDevice();
        wasLost = true;
        log->line("No audio output, going on in silence: " + change.description);
        break;
    }
    changed.notifyAll();
}

// Nobody else wants this lock until the engine goes, so that a block does not wait for it.
void SDLAudioEngine::Output::render(std::span<float> block) {
    const Lock lock(rendering);
    if (hasEnded)
        std::ranges::fill(block, 0.0F);
    else
        mixer.render(block);
}

SDLAudioEngine::SDLAudioEngine(SDLAudioThread& thread, const Clock& clock, Log& log)
    : m_thread(thread), m_output(std::make_shared<Output>(clock, log)) {
    m_output->mixer.onStall = [&log] { log.line("Audio output has stalled, going on in silence"); };
    m_output->mixer.onResume = [&log] { log.line(backLine); };
}

SDLAudioEngine::~SDLAudioEngine() {
    m_thread.close(SDLAudioStream::Kind::Output);
    m_output->mixer.detachDevice();
    {
        const Lock lock(m_output->rendering);
        m_output->hasEnded = true;
    }
    const Lock lock(m_output->mutex);
    m_output->log = nullptr;
}

Result<void> SDLAudioEngine::start() {
    const auto stream = std::make_shared<SDLAudioStream>();
    stream->onBlock = [output = m_output](auto block) { output->render(block); };
    stream->onChange = [output = m_output](const auto& change) { output->change(change); };
    m_thread.keepOpen(stream);
    const Lock lock(m_output->mutex);
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(1);
    while (!m_output->known && m_output->changed.waitUntil(m_output->mutex, end))
        continue;
    return {};
}

std::unique_ptr<AudioPlayerNode> SDLAudioEngine::attachPlayerNode() {
    return std::make_unique<MixerPlayerNode>(m_output->mixer);
}

void SDLAudioEngine::setOutputVolume(float volume) {
    m_output->mixer.setOutputVolume(volume);
}

std::int64_t SDLAudioEngine::time() {
    return m_output->mixer.time();
}

std::shared_ptr<SoundTap> SDLAudioEngine::tap() {
    return m_output->mixer.tap();
}

std::uint32_t SDLAudioEngine::deviceIdentifier() const {
    const Lock lock(m_output->mutex);
    return m_output->identifier;
}

Seconds SDLAudioEngine::outputLatency() const {
    const Lock lock(m_output->mutex);
    return m_output->latency;
}

} // namespace platform
