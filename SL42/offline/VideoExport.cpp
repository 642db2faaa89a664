// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/offline/VideoExport.h"

#include "SL42/hardware/Screen.h"
#include "SL42/offline/VideoCanvas.h"
#include "platform/media/MovieWriter.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <limits>
#include <memory>
#include <utility>

namespace starloom {

using platform::Result;

namespace {

using Song = std::shared_ptr<const platform::PCMBuffer>;

/// The song, over and over; nothing for a program without one.
class LoopedSong {
public:
    explicit LoopedSong(OfflineConsole& console) {
        const Song song = console.engine().audioRenderer().audioBuffer();
        if (console.engine().hasAudio() && song && song->frameLength() > 0)
            m_song = song;
    }

    explicit operator bool() const { return m_song != nullptr; }

    /// The samples from where the last ones ended up to `end`, counted from the beginning of the
    /// video.
    FrameSound until(std::uint64_t end) {
        FrameSound sound;
        while (m_song && m_position < end) {
            const std::uint64_t start = m_position % m_song->frameLength();
            const std::size_t count = std::min(end - m_position, m_song->frameLength() - start);
            for (std::size_t channel = 0; channel < sound.size(); ++channel) {
                const auto samples = m_song->channel(channel).subspan(start, count);
                sound[channel].insert(sound[channel].end(), samples.begin(), samples.end());
            }
            m_position += count;
        }
        return sound;
    }

private:
    Song m_song;
    std::uint64_t m_position = 0;
};

/// At least one.
Result<std::uint32_t> frameCountOf(OfflineConsole& console, const VideoSettings& settings) {
    const double length =
        settings.length > 0 ? settings.length : console.engine().machine().audioSpec.duration();
    const double frames = std::round(length / settings.frameRate.timeOf(1));
    if (!(frames <= std::numeric_limits<std::uint32_t>::max()))
        return platform::Error{"the video would be too long"};
    return std::max(1U, static_cast<std::uint32_t>(frames));
}

} // namespace

Result<std::unique_ptr<MovieThread>> openMovie(const VideoSettings& settings, bool hasSound,
                                               const std::string& path) {
    const auto codec = platform::videoCodecFor(std::filesystem::path(path).extension().string());
    platform::MovieFormat format{.width = settings.width,
                                 .height = settings.height,
                                 .frameRate = settings.frameRate,
                                 .hasSound = hasSound};
    format.codec = codec.value_or(format.codec);
    if (codec != platform::VideoCodec::GIF)
        format.repeat = VideoCanvas::repeatFor(format.width, format.height);
    return std::make_unique<MovieThread>(
        SL42_TRY(platform::MovieWriter::create(path, format)),
        VideoCanvas(format.width / format.repeat, format.height / format.repeat),
        format.repeat > 1);
}

Result<void> exportVideo(OfflineConsole& console, const VideoSettings& settings,
                         const std::string& path, const VideoProgress& progress,
                         const std::stop_token& stop) {
    const std::uint32_t frameCount = SL42_TRY(frameCountOf(console, settings));
    LoopedSong song(console);
    const auto movie = SL42_TRY(openMovie(settings, bool(song), path));
    for (std::uint32_t frame = 0; frame < frameCount; ++frame) {
        if (stop.stop_requested())
            return platform::Error{"cancelled"};
        SL42_TRY_VOID(console.drawFrame(platform::Seconds(settings.frameRate.timeOf(frame))));
        SL42_TRY_VOID(movie->write(console.shownPicture(), song.until(settings.frameRate.sampleOf(
                                                               frame + 1, audioSampleRate))));
        progress(frame + 1, frameCount);
    }
    return movie->finish();
}

} // namespace starloom
