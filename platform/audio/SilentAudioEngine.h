// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// An engine without a device, for rendering to files, tests and machines without sound: players
// move on by the clock alone.
#pragma once

#include "platform/audio/MixerPlayerNode.h"

namespace platform {

class SilentAudioEngine final : public AudioEngine {
public:
    explicit SilentAudioEngine(const Clock& clock) : m_mixer(clock) {}

    Result<void> start() override { return {}; }
    std::unique_ptr<AudioPlayerNode> attachPlayerNode() override {
        return std::make_unique<MixerPlayerNode>(m_mixer);
    }
    void setOutputVolume(float) override {}
    std::int64_t time() override { return m_mixer.time(); }
    std::shared_ptr<SoundTap> tap() override { return m_mixer.tap(); }
    std::uint32_t deviceIdentifier() const override { return 0; }
    Seconds outputLatency() const override { return Seconds(0); }

private:
    AudioMixer m_mixer;
};

} // namespace platform
