// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A player node whose sound is a voice of an AudioMixer.
#pragma once

#include "platform/audio/AudioEngine.h"
#include "platform/audio/AudioMixer.h"

namespace platform {

/// The mixer must outlive it.
class MixerPlayerNode final : public AudioPlayerNode {
public:
    explicit MixerPlayerNode(AudioMixer& mixer) : m_mixer(mixer) {}
    ~MixerPlayerNode() override;
    MixerPlayerNode(const MixerPlayerNode&) = delete;
    MixerPlayerNode& operator=(const MixerPlayerNode&) = delete;

    void schedule(std::shared_ptr<const PCMBuffer> buffer, std::int64_t start) override;
    void setVolume(float volume) override;
    float volume() const override { return m_volume; }
    void play() override;
    void stop() override;
    bool isPlaying() const override { return m_voice != nullptr; }
    std::unique_ptr<AudioPlayerNode> playInPhase(std::shared_ptr<const PCMBuffer> buffer) override;
    std::optional<std::int64_t> position() const override;
    /// Voices go straight into the mix.
    Seconds latency() const override { return Seconds(0); }

private:
    AudioMixer& m_mixer;
    std::shared_ptr<const PCMBuffer> m_scheduled;
    std::int64_t m_start = 0;
    float m_volume = 1;
    std::shared_ptr<AudioMixer::Voice> m_voice;
};

} // namespace platform
