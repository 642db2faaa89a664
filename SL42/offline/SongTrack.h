// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The sound of a performance: songs that follow each other as they do on stage.
#pragma once

#include "SL42/offline/MovieThread.h"
#include "platform/audio/PCMBuffer.h"

#include <cstddef>
#include <cstdint>
#include <memory>

namespace starloom {

/// A song is looped. Another one takes its place in phase and fades in over a beat.
class SongTrack {
public:
    using Song = std::shared_ptr<const platform::PCMBuffer>;

    /// What plays from now on, at `bpm` beats a minute. The same song again changes nothing; null
    /// is silence.
    void setSong(Song song, std::uint64_t bpm);
    /// Where the song is known to be, in samples. Small differences are those between two clocks
    /// and would only click; at others it jumps there.
    void setPosition(std::uint64_t sample);
    void setAudible(bool audible) { m_isAudible = audible; }

    /// The next samples.
    FrameSound play(std::size_t count);

private:
    float sampleOf(const Song& song, std::size_t channel) const;

    Song m_song;
    Song m_before; ///< fades out while there is one
    std::uint64_t m_position = 0;
    float m_volume = 1; ///< of m_song
    float m_volumeStep = 0;
    bool m_isAudible = false;
};

} // namespace starloom
