// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// `starloom render`: the picture of a program at a given frame, or all pictures up to it.
#include "SL42/capture/PictureOverlay.h"
#include "SL42/offline/ScaledImage.h"
#include "cli/Command.h"
#include "cli/InputOptions.h"
#include "cli/OpenConsole.h"
#include "cli/OutputName.h"
#include "cli/PictureSize.h"
#include "cli/Progress.h"
#include "cli/Source.h"
#include "cli/Subcommand.h"
#include "platform/image/Exr.h"
#include "platform/image/Png.h"

#include <filesystem>
#include <optional>

namespace cli {
namespace {

struct RenderOptions {
    std::string file;
    std::string output;
    std::string overlay;
    std::uint32_t frames = 1;
    InputOptions input;
    std::optional<std::string> size;
    double fps = 60;
    double timeLimit = defaultTimeLimit;
};

using WritePicture = platform::Result<void> (*)(const platform::Image&, const std::string&);

/// Null for endings that we cannot write.
WritePicture writerFor(const std::string& output) {
    const auto extension = std::filesystem::path(output).extension();
    if (extension == ".png")
        return platform::writePng;
    return extension == ".exr" ? platform::writeExr : nullptr;
}

platform::Result<void> drawFrames(starloom::OfflineConsole& console, const RenderOptions& options,
                                  const OutputName& name, WritePicture write,
                                  const std::optional<PictureSize>& size,
                                  const platform::Interruption& interruption) {
    Progress progress("frames", options.frames);
    for (std::uint32_t frame = 0; frame < options.frames; ++frame) {
        if (interruption.requested())
            return platform::Error{"cancelled"};
        SL42_TRY_VOID(console.drawFrame(platform::Seconds(frame / options.fps)));
        if (name.isPattern() || frame + 1 == options.frames) {
            const platform::Image picture = SL42_TRY(console.picture());
            SL42_TRY_VOID(
                write(size ? starloom::scaledImage(picture, size->width, size->height) : picture,
                      name.forFrame(frame)));
        }
        progress.update(frame + 1);
    }
    return {};
}

/// Lays a picture over all frames.
platform::Result<void> addOverlay(starloom::SL42& engine, const platform::Image& picture) {
    engine.setEditorTexture(SL42_TRY(starloom::overlayOf(picture, *engine.machine().device)));
    engine.showEditorOverlay.set(true);
    return {};
}

ExitStatus render(const RenderOptions& options, const Session& session) {
    const auto name = OutputName::parse(options.output);
    if (!name)
        return fail(name.error().message);
    const WritePicture write = writerFor(options.output);
    if (!write)
        return fail(options.output + ": pictures are written as .png or .exr");
    std::optional<PictureSize> size;
    if (options.size) {
        const auto parsed = parsePictureSize(*options.size);
        if (!parsed)
            return fail(parsed.error().message);
        size = *parsed;
    }
    auto input = options.input.read(options.frames / options.fps);
    if (!input)
        return fail(input.error().message);
    const auto overlay = options.overlay.empty()
                             ? platform::Result<platform::Image>(platform::Image())
                             : platform::readPng(options.overlay);
    if (!overlay)
        return fail(overlay.error().message);
    const auto console = openConsole(options.file, session, options.timeLimit);
    if (!console)
        return ExitStatus::Failure;
    if (!options.overlay.empty())
        if (const auto added = addOverlay(console->engine(), *overlay); !added)
            return fail(options.overlay + ": " + added.error().message);
    console->setInput(*std::move(input));
    return interruptible([&](const platform::Interruption& interruption) {
        return drawFrames(*console, options, *name, write, size, interruption);
    });
}

} // namespace

void addRender(CLI::App& app, Session& session) {
    const auto options = std::make_shared<RenderOptions>();
    Subcommand command(app, "render", "Run a program and save what it shows");
    command.add("FILE", options->file, sourceHelp).required();
    command
        .add(
            "-o,--output", options->output,
            "Picture to write: .png, or .exr for floating-point numbers, also beyond 0 to 1 if the "
            "program sets HDR. "
            "A %d or %04d in the name saves every frame, otherwise the last one is saved")
        .required();
    command.add("--overlay", options->overlay,
                "A .png picture to lay over the program's, as the window does with an "
                "editor: what is bright in it covers, what is dark lets through");
    command.add("--frames", options->frames, "How many frames to run")
        .within(1U, 10'000'000U)
        .showsDefault();
    command.add("--fps", options->fps, "Frames per second of the program's time")
        .within(0.001, 1e6)
        .showsDefault();
    command.add("--size", options->size,
                "Width and height of the pictures; 960x540 if not given. The program's "
                "lies in them as in a window of that size");
    options->input.addTo(command);
    command.add("--time-limit", options->timeLimit, "Seconds that one frame may take")
        .within(0.001, 86400.0)
        .showsDefault();
    command.run([options, &session] { session.exitStatus = render(*options, session); });
}

} // namespace cli
