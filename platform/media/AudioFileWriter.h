// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Sound files: 48000 Hz stereo, as AAC in an MPEG-4 container or as 32-bit floats in a WAV file.
#pragma once

#include "platform/base/Result.h"

#include <memory>
#include <span>
#include <string>

namespace platform {

/// Of AAC players hear as many samples as were written: the container says how many the encoder
/// put in front and that the last block is a short one.
enum class AudioFileFormat { AAC, WAV };

/// Movable. Every error is one line with the path or the reason. A writer that is dropped before
/// finish() leaves nothing, and what stood under the name stands there still.
class AudioFileWriter {
public:
    static Result<AudioFileWriter> create(const std::string& path, AudioFileFormat format);
    AudioFileWriter(AudioFileWriter&&) noexcept;
    AudioFileWriter& operator=(AudioFileWriter&&) = delete;
    ~AudioFileWriter();

    /// Appends samples, as many to the left channel as to the right.
    Result<void> write(std::span<const float> left, std::span<const float> right);
    /// Completes the file under its name. Nothing may be written after it.
    Result<void> finish();

private:
    struct Tracks;
    explicit AudioFileWriter(std::unique_ptr<Tracks> tracks);

    std::unique_ptr<Tracks> m_tracks;
};

} // namespace platform
