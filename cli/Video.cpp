// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// `starloom video`: what a program shows and plays as a movie file.
#include "SL42/offline/VideoExport.h"
#include "cli/Command.h"
#include "cli/OpenConsole.h"
#include "cli/Progress.h"
#include "cli/Source.h"
#include "platform/process/Interruption.h"

#include <charconv>
#include <filesystem>
#include <optional>

namespace cli {
namespace {

struct VideoOptions {
    std::string file;
    std::string output;
    double seconds = 0;
    double fps = 60;
    std::string size = "1920x1080";
    double timeLimit = defaultTimeLimit;
};

struct Size {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
};

/// Even numbers of pixels in the range that encoders share; none for everything else.
std::optional<std::uint32_t> parseExtent(std::string_view text) {
    std::uint32_t extent = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), extent);
    const bool isNumber = error == std::errc() && end == text.data() + text.size();
    return isNumber && extent >= 64 && extent <= 4096 && extent % 2 == 0 ? std::optional(extent)
                                                                         : std::nullopt;
}

std::optional<Size> parseSize(std::string_view text) {
    const auto cross = text.find('x');
    if (cross == text.npos)
        return std::nullopt;
    const auto width = parseExtent(text.substr(0, cross));
    const auto height = parseExtent(text.substr(cross + 1));
    return width && height ? std::optional(Size{*width, *height}) : std::nullopt;
}

platform::Result<void> writeVideo(starloom::OfflineConsole& console,
                                  const starloom::VideoSettings& settings,
                                  const std::string& output) {
    const platform::Interruption interruption;
    std::stop_source stop;
    std::optional<Progress> progress;
    const auto update = [&](std::uint32_t done, std::uint32_t total) {
        if (!progress)
            progress.emplace("frames", total);
        progress->update(done);
        if (interruption.requested())
            stop.request_stop();
    };
    return exportVideo(console, settings, output, update, stop.get_token());
}

ExitStatus video(const VideoOptions& options, const Session& session) {
    if (std::filesystem::path(options.output).extension() != ".mp4")
        return fail(options.output + ": videos are written as .mp4");
    const auto size = parseSize(options.size);
    if (!size)
        return fail(options.size + ": sizes are written as 1920x1080, in even numbers from 64 to "
                                   "4096");
    const auto console = openConsole(options.file, session, options.timeLimit);
    if (!console)
        return ExitStatus::Failure;
    const auto written = writeVideo(*console,
                                    {.length = options.seconds,
                                     .frameRate = platform::FrameRate::nearest(options.fps),
                                     .width = size->width,
                                     .height = size->height},
                                    options.output);
    return written ? ExitStatus::Success : fail(written.error().message);
}

} // namespace

void addVideo(CLI::App& app, Session& session) {
    const auto options = std::make_shared<VideoOptions>();
    auto* command = app.add_subcommand("video", "Save what a program shows and plays as a movie");
    command->add_option("FILE", options->file, sourceHelp)->required();
    command->add_option("-o,--output", options->output, "Movie to write: .mp4")->required();
    command->add_option("--seconds", options->seconds, "Length; once through the song if not given")
        ->check(CLI::Range(0.001, 1e6));
    command->add_option("--fps", options->fps, "Frames per second")
        ->check(CLI::Range(1.0, 240.0))
        ->capture_default_str();
    command->add_option("--size", options->size, "Width and height of the movie in pixels")
        ->capture_default_str();
    command->add_option("--time-limit", options->timeLimit, "Seconds that one frame may take")
        ->check(CLI::Range(0.001, 86400.0))
        ->capture_default_str();
    command->callback([options, &session] { session.exitStatus = video(*options, session); });
}

} // namespace cli
