// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// `starloom video`: what a program shows and plays as a movie file.
#include "SL42/offline/PerformanceExport.h"
#include "SL42/offline/VideoExport.h"
#include "cli/Command.h"
#include "cli/InputOptions.h"
#include "cli/OpenConsole.h"
#include "cli/PictureSize.h"
#include "cli/Progress.h"
#include "cli/Source.h"
#include "cli/Subcommand.h"
#include "platform/media/MovieFormat.h"

#include <filesystem>
#include <optional>
#include <stop_token>

namespace cli {
namespace {

constexpr const char* movieSize = "1920x1080";
constexpr const char* gifSize = "480x270";
constexpr double movieFrames = 60;
constexpr double gifFrames = 25;

struct VideoOptions {
    std::string file;
    std::string performance;
    std::string output;
    double seconds = 0;
    std::optional<double> fps;
    std::optional<std::string> size;
    InputOptions input;
    double timeLimit = defaultTimeLimit;
};

/// Tells of frames and asks for the end when somebody wants it.
class VideoWatch {
public:
    explicit VideoWatch(const platform::Interruption& interruption)
        : m_interruption(interruption) {}

    starloom::VideoProgress progress() {
        return [this](std::uint32_t done, std::uint32_t total) {
            if (!m_progress)
                m_progress.emplace("frames", total);
            m_progress->update(done);
            if (m_interruption.requested())
                m_stop.request_stop();
        };
    }
    std::stop_token stop() const { return m_stop.get_token(); }

private:
    const platform::Interruption& m_interruption;
    std::stop_source m_stop;
    std::optional<Progress> m_progress;
};

/// What is left open is filled in by the kind of movie. The error is a usage error.
platform::Result<starloom::VideoSettings> settingsFor(const VideoOptions& options) {
    const auto codec =
        platform::videoCodecFor(std::filesystem::path(options.output).extension().string());
    if (!codec)
        return platform::Error{options.output + ": videos are written as .mp4, .webm or .gif"};
    const bool isGif = codec == platform::VideoCodec::GIF;
    const std::string size = options.size.value_or(isGif ? gifSize : movieSize);
    const double fps = options.fps.value_or(isGif ? gifFrames : movieFrames);
    const PictureSize extent = SL42_TRY(parseMovieSize(size));
    if (isGif && fps > platform::mostGifFrames)
        return platform::Error{"a GIF shows no more than 50 frames a second"};
    return starloom::VideoSettings{.length = options.seconds,
                                   .frameRate = platform::FrameRate::nearest(fps),
                                   .width = extent.width,
                                   .height = extent.height};
}

ExitStatus videoOfProgram(const VideoOptions& options, const starloom::VideoSettings& settings,
                          const Session& session) {
    const auto console = openConsole(options.file, session, options.timeLimit);
    if (!console)
        return ExitStatus::Failure;
    const double length =
        settings.length > 0 ? settings.length : console->engine().machine().audioSpec.duration();
    auto input = options.input.read(length);
    if (!input)
        return fail(input.error().message);
    console->setInput(*std::move(input));
    return interruptible([&](const platform::Interruption& interruption) {
        VideoWatch watch(interruption);
        return exportVideo(*console, settings, options.output, watch.progress(), watch.stop());
    });
}

ExitStatus videoOfPerformance(const VideoOptions& options, const starloom::VideoSettings& settings,
                              const Session& session) {
    auto performance = starloom::PerformanceReader::open(options.performance);
    if (!performance)
        return fail(performance.error().message);
    const auto device = openDevice(session, options.timeLimit);
    if (!device)
        return ExitStatus::Failure;
    return interruptible([&](const platform::Interruption& interruption) -> platform::Result<void> {
        VideoWatch watch(interruption);
        starloom::PerformanceReplay replay(device, performance->title(), session.listener());
        const auto faults = SL42_TRY(exportPerformance(
            replay, *performance, settings, options.output, watch.progress(), watch.stop()));
        for (const auto& fault : {faults.damage, faults.program})
            if (fault)
                warn(*fault);
        return {};
    });
}

ExitStatus video(VideoOptions& options, const Session& session) {
    if (options.file.empty() == options.performance.empty())
        throwMissing("Either FILE or --performance");
    if (options.output.empty() && options.performance.empty())
        throwMissing("--output");
    if (options.output.empty())
        options.output = std::filesystem::path(options.performance).replace_extension(".mp4");
    const auto settings = settingsFor(options);
    if (!settings)
        return fail(settings.error().message);
    return options.file.empty() ? videoOfPerformance(options, *settings, session)
                                : videoOfProgram(options, *settings, session);
}

} // namespace

void addVideo(CLI::App& app, Session& session) {
    const auto options = std::make_shared<VideoOptions>();
    Subcommand command(app, "video", "Save what a program shows and plays as a movie");
    command.add("FILE", options->file, sourceHelp);
    command.add("--performance", options->performance,
                "A recorded performance instead of a program: all that was saved and "
                "played, drawn anew frame by frame");
    command.add("-o,--output", options->output,
                "Movie to write: .mp4, .webm, or .gif, which loops and has no sound. Must "
                "be given, unless it is the .mp4 beside a performance");
    command
        .add("--seconds", options->seconds,
             "Length; once through the song, or the whole performance, if not given")
        .within(0.001, 1e6);
    command.add("--fps", options->fps, "Frames per second; 60 if not given, 25 of a GIF")
        .within(1.0, 240.0);
    command.add("--size", options->size,
                "Width and height of the movie in pixels; 1920x1080 if not given, 480x270 "
                "of a GIF");
    options->input.addTo(command);
    command.add("--time-limit", options->timeLimit, "Seconds that one frame may take")
        .within(0.001, 86400.0)
        .showsDefault();
    command.run([options, &session] { session.exitStatus = video(*options, session); });
}

} // namespace cli
