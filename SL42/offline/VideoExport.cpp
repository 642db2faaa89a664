// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/offline/VideoExport.h"

#include "SL42/hardware/Screen.h"
#include "SL42/offline/VideoCanvas.h"
#include "platform/media/MovieWriter.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace starloom {

using platform::Result;

namespace {

using Song = std::shared_ptr<const platform::PCMBuffer>;

/// The song, over and over.
class LoopedSong {
public:
    explicit LoopedSong(Song song) : m_song(std::move(song)) {}

    /// Writes the samples up to `end`, counted from the beginning of the video.
    Result<void> writeUntil(std::uint64_t end, platform::MovieWriter& writer) {
        while (m_position < end) {
            const std::uint64_t start = m_position % m_song->frameLength();
            const std::size_t count = std::min(end - m_position, m_song->frameLength() - start);
            SL42_TRY_VOID(writer.writeSound(m_song->channel(0).subspan(start, count),
                                            m_song->channel(1).subspan(start, count)));
            m_position += count;
        }
        return {};
    }

private:
    Song m_song;
    std::uint64_t m_position = 0;
};

/// None for a program without a song.
std::optional<LoopedSong> songOf(OfflineConsole& console) {
    const Song song = console.engine().audioRenderer().audioBuffer();
    if (!console.engine().hasAudio() || !song || song->frameLength() == 0)
        return std::nullopt;
    return LoopedSong(song);
}

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

Result<void> exportVideo(OfflineConsole& console, const VideoSettings& settings,
                         const std::string& path, const VideoProgress& progress,
                         const std::stop_token& stop) {
    const std::uint32_t frameCount = SL42_TRY(frameCountOf(console, settings));
    std::optional<LoopedSong> song = songOf(console);
    VideoCanvas canvas(settings.width, settings.height);
    auto writer = SL42_TRY(platform::MovieWriter::create(path, {.width = settings.width,
                                                                .height = settings.height,
                                                                .frameRate = settings.frameRate,
                                                                .hasSound = song.has_value()}));
    for (std::uint32_t frame = 0; frame < frameCount; ++frame) {
        if (stop.stop_requested())
            return platform::Error{"cancelled"};
        SL42_TRY_VOID(console.drawFrame(platform::Seconds(settings.frameRate.timeOf(frame))));
        const platform::Image picture = SL42_TRY(console.picture());
        SL42_TRY_VOID(writer.writeFrame(canvas.show(picture)));
        if (song)
            SL42_TRY_VOID(
                song->writeUntil(settings.frameRate.sampleOf(frame + 1, audioSampleRate), writer));
        progress(frame + 1, frameCount);
    }
    return writer.finish();
}

} // namespace starloom
