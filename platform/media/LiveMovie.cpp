// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/media/LiveMovie.h"

#include "platform/media/AudioEncoder.h"
#include "platform/media/PacketRing.h"
#include "platform/media/VideoEncoder.h"

#include <optional>
#include <utility>

namespace platform {

struct LiveMovie::Parts {
    FrameRate frameRate;
    PacketRing ring;
    VideoEncoder video;
    std::optional<AudioEncoder> sound;
    std::uint64_t nextFrame = 0;
};

Result<LiveMovie> LiveMovie::create(MovieFormat format) {
    format.effort = EncodingEffort::Live;
    PacketRing ring;
    VideoEncoder video = SL42_TRY(VideoEncoder::create(ring, format));
    std::optional<AudioEncoder> sound;
    if (format.hasSound)
        sound.emplace(SL42_TRY(AudioEncoder::create(ring, AudioCodec::AAC)));
    return LiveMovie(std::make_unique<Parts>(
        Parts{format.frameRate, std::move(ring), std::move(video), std::move(sound)}));
}

LiveMovie::LiveMovie(std::unique_ptr<Parts> parts) : m_parts(std::move(parts)) {}
LiveMovie::LiveMovie(LiveMovie&&) noexcept = default;
LiveMovie::~LiveMovie() = default;

Result<void> LiveMovie::writeFrame(std::span<const std::uint32_t> pixels) {
    ++m_parts->nextFrame;
    return m_parts->video.write(m_parts->ring, pixels);
}

void LiveMovie::skipFrames(std::int64_t count) {
    m_parts->nextFrame += static_cast<std::uint64_t>(count);
    m_parts->video.skip(count);
}

Result<void> LiveMovie::writeSound(std::span<const float> left, std::span<const float> right) {
    return m_parts->sound->write(m_parts->ring, left, right);
}

void LiveMovie::keepLast(double seconds) {
    m_parts->ring.setLength(seconds);
}

std::size_t LiveMovie::keptBytes() const {
    return m_parts->ring.byteCount();
}

LiveMovie::Save LiveMovie::saveLast() const {
    return [movie = m_parts->ring.last()](const std::string& path) { return movie.write(path); };
}

Result<void> LiveMovie::startFile(const std::string& path) {
    m_parts->video.beginAnew();
    return m_parts->ring.startFile(path, m_parts->frameRate.timeOf(m_parts->nextFrame));
}

void LiveMovie::endFile() {
    m_parts->ring.endFile(m_parts->frameRate.timeOf(m_parts->nextFrame));
}

bool LiveMovie::isFileComplete() const {
    return m_parts->ring.isFileComplete();
}

Result<void> LiveMovie::finishFile() {
    return m_parts->ring.finishFile();
}

bool LiveMovie::hasFile() const {
    return m_parts->ring.hasFile();
}

} // namespace platform
