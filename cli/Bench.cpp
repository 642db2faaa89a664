// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// `starloom bench`: how long one program takes to compile and to draw, and how much memory.
#include "SL42/offline/OfflineConsole.h"
#include "SL42/offline/VideoCanvas.h"
#include "cli/Command.h"
#include "cli/InputOptions.h"
#include "cli/Measurement.h"
#include "cli/PictureSize.h"
#include "cli/Progress.h"
#include "cli/Source.h"
#include "cli/StageBenchmark.h"
#include "cli/Subcommand.h"
#include "platform/process/ResidentMemory.h"

#include <chrono>
#include <iostream>
#include <optional>

namespace cli {
namespace {

constexpr std::uint32_t compilations = 9;
constexpr std::uint32_t songRenderings = 5;
constexpr float frameLength = 1.0F / 60;
constexpr const char* noDevice = "there is no device to run on";

struct BenchOptions {
    std::string file;
    std::uint32_t frames = 60;
    bool json = false;
    InputOptions input;
    std::optional<std::string> size;
};

double millisecondsOf(const auto& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
        .count();
}

/// The same program as a text that no cache has seen.
std::string variant(const std::string& text, std::uint32_t number) {
    return text + "\n// variant " + std::to_string(number) + "\n";
}

/// In the order in which they are printed.
struct Measurements {
    Measurement cold{"sourceToLogCold", "source set to log, starting the service", {}};
    Measurement warm{"sourceToLogWarm", "source set to log, service running", {}};
    Measurement frontEnd{"compileFrontEnd", "compile: front end", {}};
    Measurement optimiser{"compileOptimiser", "compile: optimiser, all kernels", {}};
    Measurement codeGeneration{
        "compileCodeGeneration", "compile: code generation, all kernels", {}};
    Measurement cpu{"frameCpu", "frame: cpu", {}};
    Measurement video{"frameVideo", "frame: video", {}};
    Measurement display{"frameDisplay", "frame: display", {}};
    Measurement picture{"framePicture", "frame: colours and size of the screen", {}};
    Measurement song{"songRender", "song: rendering all of it", {}};
    Measurement songRate{"songRate", "song: samples per second", {}, "M"};
    Measurement songSpeed{"songSpeed", "song: factor over real time", {}, "x"};
    Measurement memory{"residentMemory", "memory, console and service", {}, "MiB"};

    std::vector<Measurement> all() const {
        return {cold,    warm,    frontEnd, optimiser, codeGeneration, cpu,   video,
                display, picture, song,     songRate,  songSpeed,      memory};
    }
};

/// The memory is read while a console with the program is up.
platform::Result<void> measureLatency(const Session& session, const Source& source,
                                      Measurements& measurements) {
    std::shared_ptr<gpu::Device> device;
    std::optional<starloom::OfflineConsole> console;
    measurements.cold.values.push_back(millisecondsOf([&] {
        device = session.openDevice();
        if (device)
            console.emplace(device, source.title, source.text);
    }));
    if (!console)
        return platform::Error{noDevice};
    if (!console->isComplete())
        return platform::Error{source.title + " does not compile\n" + console->diagnostics()};
    for (std::uint32_t i = 0; i < compilations; ++i) {
        std::string text = variant(source.text, i);
        measurements.warm.values.push_back(
            millisecondsOf([&] { console->setSource(std::move(text)); }));
    }
    SL42_TRY_VOID(console->drawFrame(platform::Seconds(0)));
    if (const auto bytes = platform::residentMemoryWithChildren())
        measurements.memory.values.push_back(static_cast<double>(*bytes) / (1 << 20));
    return {};
}

platform::Result<void> measureSong(StageBenchmark& stages, Measurements& measurements) {
    for (std::uint32_t i = 0; i < songRenderings; ++i) {
        const SongTime time = SL42_TRY(stages.renderSong());
        if (time.samples == 0)
            return {};
        const double perSecond = static_cast<double>(time.samples) * 1000 / time.milliseconds;
        measurements.song.values.push_back(time.milliseconds);
        measurements.songRate.values.push_back(perSecond / 1e6);
        measurements.songSpeed.values.push_back(perSecond / starloom::audioSampleRate);
    }
    return {};
}

platform::Result<void> measureStages(const Session& session, const Source& source,
                                     const BenchOptions& options, Measurements& measurements) {
    platform::Log log(platform::printNothing);
    const auto device = session.openDevice();
    if (!device)
        return platform::Error{noDevice};
    StageBenchmark stages(device, log);
    for (std::uint32_t i = 0; i < compilations; ++i) {
        const auto phases = SL42_TRY(stages.compile(variant(source.text, i)));
        measurements.frontEnd.values.push_back(phases.frontEnd);
        measurements.optimiser.values.push_back(phases.optimiser);
        measurements.codeGeneration.values.push_back(phases.codeGeneration);
    }
    SL42_TRY_VOID(measureSong(stages, measurements));
    stages.setInput(
        SL42_TRY(options.input.read(static_cast<double>(options.frames) * frameLength)));
    std::optional<starloom::VideoCanvas> screen;
    if (options.size) {
        const PictureSize size = SL42_TRY(parsePictureSize(*options.size));
        screen.emplace(size.width, size.height);
    }
    Progress progress("frames", options.frames);
    for (std::uint32_t frame = 0; frame < options.frames; ++frame) {
        const auto times = SL42_TRY(stages.runFrame(static_cast<float>(frame) * frameLength));
        measurements.cpu.values.push_back(times.cpu);
        measurements.video.values.push_back(times.video);
        measurements.display.values.push_back(times.display);
        if (screen) {
            const platform::Image picture = SL42_TRY(stages.picture());
            measurements.picture.values.push_back(
                millisecondsOf([&] { screen->show(picture.halves()); }));
        }
        progress.update(frame + 1);
    }
    return {};
}

ExitStatus bench(const BenchOptions& options, const Session& session) {
    const auto source = readProgram(options.file);
    if (!source)
        return fail(source.error().message);
    Measurements measurements;
    if (auto measured = measureLatency(session, *source, measurements); !measured)
        return fail(measured.error().message);
    if (auto measured = measureStages(session, *source, options, measurements); !measured)
        return fail(measured.error().message);
    if (options.json)
        printJson(std::cout, measurements.all());
    else
        printTable(std::cout, measurements.all());
    return ExitStatus::Success;
}

} // namespace

void addBench(CLI::App& app, Session& session) {
    const auto options = std::make_shared<BenchOptions>();
    Subcommand command(app, "bench", "Measure how a program compiles and runs");
    command.add("FILE", options->file, sourceHelp).required();
    command.add("--frames", options->frames, "How many frames to run")
        .within(1U, 1'000'000U)
        .showsDefault();
    options->input.addTo(command);
    command.add("--size", options->size,
                "Also measure how long a picture takes on its way to a screen of that width "
                "and height, such as 1920x1080");
    command.add("--json", options->json, "Print the numbers as JSON");
    command.run([options, &session] { session.exitStatus = bench(*options, session); });
}

} // namespace cli
