// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "tests/platform/media/MediaReader.h"

#include "tests/Program.h"
#include "tests/ScratchFolder.h"

#include <cmath>
#include <complex>
#include <cstring>
#include <map>
#include <numbers>

namespace platform::tests {
namespace {

using Words = std::vector<std::string>;

/// What a program prints; what it says is wrong when it fails.
Result<std::string> outputOf(const Words& words) {
    const ::tests::ScratchFolder folder;
    const ::tests::Streams streams{.in = {}, .out = folder.path("out"), .err = folder.path("err")};
    if (::tests::Program(words, streams).wait() != 0)
        return Error{::tests::contentsOf(streams.err)};
    return ::tests::contentsOf(streams.out);
}

/// What a player knows of a track before it plays it, by name.
using Track = std::map<std::string, std::string>;

/// `kind` is ffprobe's name for the first track of a kind. What the file does not say of the track
/// it may say of the whole.
Result<Track> probe(const std::string& path, const std::string& kind) {
    std::istringstream lines(
        SL42_TRY(outputOf({"ffprobe", "-v", "error", "-select_streams", kind, "-show_streams",
                           "-show_format", "-of", "default=nw=1", path})));
    Track track;
    for (std::string name, value; std::getline(lines, name, '=') && std::getline(lines, value);)
        if (value != "N/A")
            track.emplace(name, value);
    if (!track.contains("codec_name"))
        return Error{"no such track in " + path};
    return track;
}

template <class T>
Result<std::vector<T>> decode(const std::string& path, const Words& options) {
    Words words{"ffmpeg", "-v", "error", "-i", path};
    words.insert(words.end(), options.begin(), options.end());
    words.emplace_back("-");
    const std::string bytes = SL42_TRY(outputOf(words));
    std::vector<T> values(bytes.size() / sizeof(T));
    std::memcpy(values.data(), bytes.data(), values.size() * sizeof(T));
    return values;
}

} // namespace

Result<DecodedSound> readSound(const std::string& path) {
    Track track = SL42_TRY(probe(path, "a:0"));
    DecodedSound sound{.codec = track["codec_name"],
                       .sampleRate = std::stoi(track["sample_rate"]),
                       .channelCount = std::stoi(track["channels"]),
                       .bitRate = std::stoll(track["bit_rate"]),
                       .duration = std::llround(std::stod(track["duration"]) * 48000),
                       .channels = {}};
    // The last block may be longer than the track.
    const std::string cut = "atrim=end_sample=" + std::to_string(sound.duration);
    const auto samples =
        SL42_TRY(decode<float>(path, {"-map", "0:a:0", "-af", cut, "-f", "f32le"}));
    for (std::size_t i = 0; i < samples.size(); ++i)
        sound.channels[i % 2].push_back(samples[i]);
    return sound;
}

Result<DecodedVideo> readVideo(const std::string& path) {
    Track track = SL42_TRY(probe(path, "v:0"));
    DecodedVideo video{.codec = track["codec_name"],
                       .width = static_cast<std::uint32_t>(std::stoul(track["width"])),
                       .height = static_cast<std::uint32_t>(std::stoul(track["height"])),
                       .duration = std::stod(track["duration"]),
                       .colours = track["color_primaries"] + "/" + track["color_transfer"] + "/" +
                                  track["color_space"] + "/" + track["color_range"],
                       .frames = {}};
    std::istringstream times(
        SL42_TRY(outputOf({"ffprobe", "-v", "error", "-select_streams", "v:0", "-show_entries",
                           "frame=best_effort_timestamp_time", "-of", "default=nw=1:nk=1", path})));
    const auto pixels =
        SL42_TRY(decode<std::uint32_t>(path, {"-map", "0:v:0", "-fps_mode", "passthrough", "-vf",
                                              "scale=flags=neighbor+accurate_rnd+full_chroma_inp",
                                              "-pix_fmt", "bgra", "-f", "rawvideo"}));
    const auto size = static_cast<std::ptrdiff_t>(video.width) * video.height;
    auto next = pixels.begin();
    for (std::string time; std::getline(times, time) && pixels.end() - next >= size; next += size)
        video.frames.push_back({std::stod(time), {next, next + size}});
    return video;
}

double levelAt(double frequency, std::span<const float> samples) {
    std::complex<double> sum = 0; // of the correlation with it
    for (std::size_t i = 0; i < samples.size(); ++i)
        sum += std::polar(double(samples[i]),
                          2 * std::numbers::pi * frequency * static_cast<double>(i) / 48000);
    return 2 * std::abs(sum) / static_cast<double>(samples.size());
}

} // namespace platform::tests
