// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What a movie file is made of.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace platform {

/// Frames per second as a fraction, so that frame times are exact.
struct FrameRate {
    std::uint32_t numerator = 60;
    std::uint32_t denominator = 1;

    /// The closest fraction that movie files can hold. `framesPerSecond` lies between 1 and 1000.
    static FrameRate nearest(double framesPerSecond);

    /// When a frame begins, in seconds.
    double timeOf(std::uint64_t frame) const {
        return static_cast<double>(frame * denominator) / numerator;
    }
    /// The same in samples of sound, rounded down.
    std::uint64_t sampleOf(std::uint64_t frame, std::uint32_t sampleRate) const {
        return frame * denominator * sampleRate / numerator;
    }
};

/// How frames are coded, which also says what file they come in: MPEG-4 with AAC sound, WebM with
/// Opus, or a GIF, which loops, has no sound and holds 256 colours a frame. MPEG-4 Part 2 is for
/// machines whose libraries come without an encoder for H.264.
enum class VideoCodec { H264, MPEG4, VP9, GIF };

/// What goes into files with that ending (".mp4", ".webm", ".gif"), as good as this machine can
/// code it. None for other endings, and where there is no encoder.
std::optional<VideoCodec> videoCodecFor(std::string_view ending);

/// H.264 where there is an encoder for it.
VideoCodec bestVideoCodec();

/// How much work an encoder takes on. Live frames come as they happen: each is coded by itself or
/// from the one before, with as little work as possible, and the files are larger.
enum class EncodingEffort { Thorough, Live };
/// GIF counts time in hundredths of a second, and players slow down what shows for less than two.
inline constexpr double mostGifFrames = 50;

struct MovieFormat {
    /// Pixels; even numbers from 64 to 8190.
    std::uint32_t width = 960;
    std::uint32_t height = 540;
    FrameRate frameRate{};
    bool hasSound = false;
    VideoCodec codec = bestVideoCodec();
    EncodingEffort effort = EncodingEffort::Thorough;
    /// Each pixel of the frames that are written stands for a square of so many by so many of the
    /// movie's: 1, or an even number that divides width and height. Not for GIF.
    std::uint32_t repeat = 1;
};

} // namespace platform
