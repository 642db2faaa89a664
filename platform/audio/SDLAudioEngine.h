// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Plays through the system's default output device. A device that disappears costs one line on the
// log and the sound; the position goes on, and the device is used again when it comes back.
#pragma once

#include "platform/Log.h"
#include "platform/audio/AudioEngine.h"
#include "platform/audio/SDLAudioThread.h"

namespace platform {

class SDLAudioEngine final : public AudioEngine {
public:
    /// All of them must outlive the engine. The clock must be readable on any thread.
    SDLAudioEngine(SDLAudioThread& thread, const Clock& clock, Log& log);
    ~SDLAudioEngine() override;

    Result<void> start() override;
    std::unique_ptr<AudioPlayerNode> attachPlayerNode() override;
    void setOutputVolume(float volume) override;
    std::int64_t time() override;
    std::shared_ptr<SoundTap> tap() override;
    std::uint32_t deviceIdentifier() const override;
    Seconds outputLatency() const override;

private:
    struct Output;

    SDLAudioThread& m_thread;
    std::shared_ptr<Output> m_output;
};

} // namespace platform
