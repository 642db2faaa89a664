// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/media/MovieWriter.h"

#include "platform/media/AudioEncoder.h"
#include "platform/media/Muxer.h"
#include "platform/media/VideoEncoder.h"

#include <optional>
#include <utility>

namespace platform {

struct MovieWriter::Tracks {
    Muxer muxer;
    VideoEncoder video;
    std::optional<AudioEncoder> sound;
};

/// The kind of file that a codec comes in; `sound` is none where there is no room for it.
struct Container {
    const char* name; ///< FFmpeg's
    std::optional<AudioCodec> sound;
};

static Container containerOf(VideoCodec codec) {
    switch (codec) {
    case VideoCodec::H264:
    case VideoCodec::MPEG4:
        return {"mp4", AudioCodec::AAC};
    case VideoCodec::VP9:
        return {"webm", AudioCodec::Opus};
    case VideoCodec::GIF:
        break;
    }
    return {"gif", std::nullopt};
}

Result<MovieWriter> MovieWriter::create(const std::string& path, const MovieFormat& format) {
    const Container container = containerOf(format.codec);
    Muxer muxer = SL42_TRY(Muxer::create(path, container.name));
    VideoEncoder video = SL42_TRY(VideoEncoder::create(muxer, format));
    std::optional<AudioEncoder> sound;
    if (format.hasSound && container.sound)
        sound.emplace(SL42_TRY(AudioEncoder::create(muxer, *container.sound)));
    SL42_TRY_VOID(muxer.writeHeader());
    return MovieWriter(
        std::make_unique<Tracks>(std::move(muxer), std::move(video), std::move(sound)));
}

MovieWriter::MovieWriter(std::unique_ptr<Tracks> tracks) : m_tracks(std::move(tracks)) {}
MovieWriter::MovieWriter(MovieWriter&&) noexcept = default;
MovieWriter::~MovieWriter() = default;

Result<void> MovieWriter::writeFrame(std::span<const std::uint32_t> pixels) {
    return m_tracks->video.write(m_tracks->muxer, pixels);
}

Result<void> MovieWriter::writePicture(std::span<const std::uint16_t> halves) {
    return m_tracks->video.writePicture(m_tracks->muxer, halves);
}

Result<void> MovieWriter::writeSound(std::span<const float> left, std::span<const float> right) {
    if (!m_tracks->sound)
        return {};
    return m_tracks->sound->write(m_tracks->muxer, left, right);
}

Result<void> MovieWriter::finish() {
    SL42_TRY_VOID(m_tracks->video.finish(m_tracks->muxer));
    if (m_tracks->sound)
        SL42_TRY_VOID(m_tracks->sound->finish(m_tracks->muxer));
    return m_tracks->muxer.finish();
}

} // namespace platform
