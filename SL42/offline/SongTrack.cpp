// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/offline/SongTrack.h"

#include "SL42/hardware/AudioSpec.h"

#include <algorithm>
#include <utility>

namespace starloom {

/// A twentieth of a second: more than sound devices hold, less than anybody jumps on purpose.
static constexpr std::uint64_t smallDifference = audioSampleRate / 20;

void SongTrack::setSong(Song song, std::uint64_t bpm) {
    if (song == m_song)
        return;
    m_before = std::exchange(m_song, std::move(song));
    m_volume = m_before ? 0 : 1;
    m_volumeStep = static_cast<float>(static_cast<double>(bpm) / 60 / audioSampleRate);
}

void SongTrack::setPosition(std::uint64_t sample) {
    if (!m_song || m_song->frameLength() == 0)
        return;
    const std::uint64_t length = m_song->frameLength();
    const std::uint64_t apart = (m_position % length + length - sample % length) % length;
    if (std::min(apart, length - apart) > smallDifference)
        m_position = sample;
}

float SongTrack::sampleOf(const Song& song, std::size_t channel) const {
    if (!song || song->frameLength() == 0)
        return 0;
    return song->channel(channel)[m_position % song->frameLength()];
}

FrameSound SongTrack::play(std::size_t count) {
    FrameSound sound{std::vector<float>(count), std::vector<float>(count)};
    for (std::size_t i = 0; i < count && m_isAudible; ++i, ++m_position) {
        for (std::size_t channel = 0; channel < sound.size(); ++channel)
            sound[channel][i] =
                m_volume * sampleOf(m_song, channel) + (1 - m_volume) * sampleOf(m_before, channel);
        m_volume = std::min(m_volume + m_volumeStep, 1.0F);
        if (m_volume == 1)
            m_before.reset();
    }
    return sound;
}

} // namespace starloom
