// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// `starloom song`: the whole song of a program as a sound file.
#include "cli/Command.h"
#include "cli/OpenConsole.h"
#include "cli/Progress.h"
#include "cli/Source.h"
#include "cli/Subcommand.h"
#include "platform/media/AudioFileWriter.h"
#include "platform/media/Loudness.h"

#include <algorithm>
#include <filesystem>
#include <iomanip>
#include <iostream>
#include <optional>
#include <sstream>

namespace cli {
namespace {

/// Samples that are encoded between two looks at the clock and at Ctrl+C.
constexpr std::uint32_t blockLength = 16384;

struct SongOptions {
    std::string file;
    std::string output;
    double timeLimit = defaultTimeLimit;
};

/// None for endings that we cannot write.
std::optional<platform::AudioFileFormat> formatFor(const std::string& output) {
    const auto extension = std::filesystem::path(output).extension();
    if (extension == ".m4a")
        return platform::AudioFileFormat::AAC;
    if (extension == ".wav")
        return platform::AudioFileFormat::WAV;
    return std::nullopt;
}

std::string decibels(const std::optional<double>& value, const char* unit) {
    if (!value)
        return "none";
    std::ostringstream text;
    text << std::fixed << std::setprecision(1) << *value << ' ' << unit;
    return text.str();
}

/// The measures go to standard output, the warning to standard error.
platform::Result<void> reportLoudness(const platform::PCMBuffer& song) {
    const auto loudness = SL42_TRY(platform::measureLoudness(song.channel(0), song.channel(1)));
    std::cout << "peak " << decibels(loudness.peak, "dBFS") << ", loudness "
              << decibels(loudness.integrated, "LUFS") << '\n';
    if (loudness.clipped > 0) {
        std::ostringstream text;
        text << "the song clips: " << loudness.clipped
             << (loudness.clipped == 1 ? " sample lies" : " samples lie")
             << " beyond full scale, the first after " << std::fixed << std::setprecision(3)
             << static_cast<double>(loudness.firstClipped) / starloom::audioSampleRate << " s";
        warn(text.str());
    }
    return {};
}

platform::Result<void> writeSong(const platform::PCMBuffer& song, const std::string& output,
                                 platform::AudioFileFormat format,
                                 const platform::Interruption& interruption) {
    auto writer = SL42_TRY(platform::AudioFileWriter::create(output, format));
    const std::uint32_t length = song.frameLength();
    Progress progress("samples", length);
    for (std::uint32_t at = 0; at < length; at += blockLength) {
        if (interruption.requested())
            return platform::Error{"cancelled"};
        const std::uint32_t count = std::min(blockLength, length - at);
        SL42_TRY_VOID(
            writer.write(song.channel(0).subspan(at, count), song.channel(1).subspan(at, count)));
        progress.update(at + count);
    }
    return writer.finish();
}

ExitStatus song(const SongOptions& options, const Session& session) {
    const auto format = formatFor(options.output);
    if (!format)
        return fail(options.output + ": songs are written as .m4a or .wav");
    const auto console = openConsole(options.file, session, options.timeLimit);
    if (!console)
        return ExitStatus::Failure;
    const auto song = console->engine().audioRenderer().audioBuffer();
    if (!console->engine().hasAudio() || !song)
        return fail(console->engine().title() + " has no sfx() and so no song");
    return interruptible([&](const platform::Interruption& interruption) -> platform::Result<void> {
        SL42_TRY_VOID(writeSong(*song, options.output, *format, interruption));
        return reportLoudness(*song);
    });
}

} // namespace

void addSong(CLI::App& app, Session& session) {
    const auto options = std::make_shared<SongOptions>();
    Subcommand command(app, "song", "Save the song that a program makes");
    command.add("FILE", options->file, sourceHelp).required();
    command
        .add("-o,--output", options->output,
             "Sound file to write: .m4a for AAC, or .wav for 32-bit floats")
        .required();
    command.add("--time-limit", options->timeLimit, "Seconds that rendering it may take")
        .within(20.0, 86400.0)
        .showsDefault();
    command.run([options, &session] { session.exitStatus = song(*options, session); });
}

} // namespace cli
