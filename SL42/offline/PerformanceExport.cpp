// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/offline/PerformanceExport.h"

#include "SL42/offline/SongTrack.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace starloom {
namespace {

using platform::Result;

/// The frames of the movie, each with the newest frame of the performance.
class PerformanceMovie {
public:
    PerformanceMovie(std::unique_ptr<MovieThread> movie, const VideoSettings& settings,
                     const VideoProgress& progress)
        : m_movie(std::move(movie)), m_settings(settings), m_progress(progress) {}

    SongTrack& song() { return m_song; }
    /// The number of the movie's frame that is nearest to a time.
    std::uint64_t frameAt(double seconds) const {
        return static_cast<std::uint64_t>(std::round(seconds / m_settings.frameRate.timeOf(1)));
    }
    std::uint64_t frameCount() const { return m_frame; }
    /// Shows what the replay has drawn last, up to that frame of the movie.
    Result<void> showUntil(std::uint64_t frame, PerformanceReplay& replay);
    Result<void> finish() { return m_movie->finish(); }

private:
    std::unique_ptr<MovieThread> m_movie;
    const VideoSettings& m_settings;
    const VideoProgress& m_progress;
    SongTrack m_song;
    std::uint64_t m_frame = 0;
};

Result<void> PerformanceMovie::showUntil(std::uint64_t frame, PerformanceReplay& replay) {
    for (; m_frame < frame; ++m_frame) {
        const std::uint64_t first = m_settings.frameRate.sampleOf(m_frame, audioSampleRate);
        const std::uint64_t end = m_settings.frameRate.sampleOf(m_frame + 1, audioSampleRate);
        SL42_TRY_VOID(m_movie->write(replay.console().shownPicture(), m_song.play(end - first)));
        m_progress(static_cast<std::uint32_t>(m_frame + 1), 0);
    }
    return {};
}

/// What is heard from this frame on.
void setSong(SongTrack& track, OfflineConsole& console, const PerformanceFrame& frame) {
    track.setSong(console.engine().audioRenderer().audioBuffer(),
                  console.engine().machine().audioSpec.bpm);
    track.setAudible(frame.songPlays);
    if (console.engine().hasAudio()) // otherwise `sample` follows the clock instead of the song
        track.setPosition(frame.state.sample);
}

} // namespace

Result<PerformanceFaults> exportPerformance(PerformanceReplay& replay,
                                            PerformanceReader& performance,
                                            const VideoSettings& settings, const std::string& path,
                                            const VideoProgress& progress,
                                            const std::stop_token& stop) {
    PerformanceMovie movie(SL42_TRY(openMovie(settings, true, path)), settings, progress);
    const std::uint64_t end = settings.length > 0
                                  ? std::max<std::uint64_t>(movie.frameAt(settings.length), 1)
                                  : std::numeric_limits<std::uint64_t>::max();
    bool isEmpty = true;
    while (movie.frameCount() < end) {
        if (stop.stop_requested())
            return platform::Error{"cancelled"};
        const auto frame = performance.next();
        if (!frame)
            break;
        if (!isEmpty)
            SL42_TRY_VOID(movie.showUntil(std::min(movie.frameAt(frame->clock), end), replay));
        isEmpty = false;
        SL42_TRY_VOID(replay.draw(*frame));
        setSong(movie.song(), replay.console(), *frame);
    }
    if (isEmpty)
        return platform::Error{
            performance.damage().value_or("there are no frames in the performance")};
    SL42_TRY_VOID(movie.showUntil(std::min(movie.frameCount() + 1, end), replay));
    SL42_TRY_VOID(movie.finish());
    return PerformanceFaults{performance.damage(), replay.fault()};
}

} // namespace starloom
