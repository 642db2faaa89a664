// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Movie files: a video track of constant frame rate and, if wanted, a sound track.
#pragma once

#include "platform/base/Result.h"
#include "platform/media/MovieFormat.h"

#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace platform {

/// Movable. Every error is one line with the path or the reason. A writer that is dropped before
/// finish() leaves nothing, and what stood under the name stands there still.
class MovieWriter {
public:
    static Result<MovieWriter> create(const std::string& path, const MovieFormat& format);
    MovieWriter(MovieWriter&&) noexcept;
    MovieWriter& operator=(MovieWriter&&) = delete;
    ~MovieWriter();

    /// The next frame: rows from the top, pixels 0xffRRGGBB in sRGB, width x height of them. Only
    /// where no pixels are repeated.
    Result<void> writeFrame(std::span<const std::uint32_t> pixels);
    /// The next frame of a movie whose pixels are repeated: half floats as in Image, width x height
    /// of them, each divided by MovieFormat::repeat.
    Result<void> writePicture(std::span<const std::uint16_t> halves);
    /// The next samples, 48000 a second, as many to the left channel as to the right. Keep sound
    /// and frames about level: what is ahead waits in memory. A file without a sound track drops
    /// them.
    Result<void> writeSound(std::span<const float> left, std::span<const float> right);
    /// Completes the file under its name. Nothing may be written after it.
    Result<void> finish();

private:
    struct Tracks;
    explicit MovieWriter(std::unique_ptr<Tracks> tracks);

    std::unique_ptr<Tracks> m_tracks;
};

} // namespace platform
