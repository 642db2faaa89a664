// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/audio/SDLAudioEngine.h"

#include "platform/audio/MixerPlayerNode.h"

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace platform {

static constexpr const char* backLine = "Audio output is back";

/// What SDL's threads use too; a device that cannot be closed may outlive the engine.
struct SDLAudioEngine::Output {
    Output(const Clock& clock, Log& theLog) : mixer(clock), log(&theLog) {}

    void change(const SDLAudioChange& change);

    AudioMixer mixer;
    std::mutex mutex;
    std::condition_variable changed;
    Log* log;           ///< null once the engine has gone
    bool known = false; ///< whether there is a device or not
    bool wasLost = false;
    std::uint32_t identifier = 0;
    Seconds latency{0};
};

void SDLAudioEngine::Output::change(const SDLAudioChange& change) {
    const std::lock_guard lock(mutex);
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
    changed.notify_all();
}

SDLAudioEngine::SDLAudioEngine(SDLAudioThread& thread, const Clock& clock, Log& log)
    : m_thread(thread), m_output(std::make_shared<Output>(clock, log)) {
    m_output->mixer.onStall = [&log] { log.line("Audio output has stalled, going on in silence"); };
    m_output->mixer.onResume = [&log] { log.line(backLine); };
}

SDLAudioEngine::~SDLAudioEngine() {
    m_thread.close(SDLAudioStream::Kind::Output);
    m_output->mixer.detachDevice();
    const std::lock_guard lock(m_output->mutex);
    m_output->log = nullptr;
}

Result<void> SDLAudioEngine::start() {
    const auto stream = std::make_shared<SDLAudioStream>();
    stream->onBlock = [output = m_output](auto block) { output->mixer.render(block); };
    stream->onChange = [output = m_output](const auto& change) { output->change(change); };
    m_thread.keepOpen(stream);
    std::unique_lock lock(m_output->mutex);
    m_output->changed.wait_for(lock, std::chrono::seconds(1), [this] { return m_output->known; });
    return {};
}

std::unique_ptr<AudioPlayerNode> SDLAudioEngine::attachPlayerNode() {
    return std::make_unique<MixerPlayerNode>(m_output->mixer);
}

void SDLAudioEngine::setOutputVolume(float volume) {
    m_output->mixer.setOutputVolume(volume);
}

std::uint32_t SDLAudioEngine::deviceIdentifier() const {
    const std::lock_guard lock(m_output->mutex);
    return m_output->identifier;
}

Seconds SDLAudioEngine::outputLatency() const {
    const std::lock_guard lock(m_output->mutex);
    return m_output->latency;
}

} // namespace platform
