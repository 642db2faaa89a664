// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/media/AudioFileWriter.h"

#include "platform/media/AudioEncoder.h"
#include "platform/media/Muxer.h"

#include <utility>

namespace platform {

struct AudioFileWriter::Tracks {
    Muxer muxer;
    AudioEncoder sound;
};

Result<AudioFileWriter> AudioFileWriter::create(const std::string& path, AudioFileFormat format) {
    const bool aac = format == AudioFileFormat::AAC;
    Muxer muxer = SL42_TRY(Muxer::create(path, aac ? "ipod" : "wav")); // ipod: MPEG-4 for sound
    AudioEncoder sound =
        SL42_TRY(AudioEncoder::create(muxer, aac ? AudioCodec::AAC : AudioCodec::Float32));
    SL42_TRY_VOID(muxer.writeHeader());
    return AudioFileWriter(std::make_unique<Tracks>(std::move(muxer), std::move(sound)));
}

AudioFileWriter::AudioFileWriter(std::unique_ptr<Tracks> tracks) : m_tracks(std::move(tracks)) {}
AudioFileWriter::AudioFileWriter(AudioFileWriter&&) noexcept = default;
AudioFileWriter::~AudioFileWriter() = default;

Result<void> AudioFileWriter::write(std::span<const float> left, std::span<const float> right) {
    return m_tracks->sound.write(m_tracks->muxer, left, right);
}

Result<void> AudioFileWriter::finish() {
    SL42_TRY_VOID(m_tracks->sound.finish(m_tracks->muxer));
    return m_tracks->muxer.finish();
}

} // namespace platform
