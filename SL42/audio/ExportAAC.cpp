// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/audio/ExportAAC.h"

#include "platform/MoveFile.h"
#include "platform/media/AudioFileWriter.h"

#include <filesystem>
#include <system_error>

namespace starloom {

static platform::Result<void> writeSong(const platform::PCMBuffer& song, const std::string& path) {
    auto writer = SL42_TRY(platform::AudioFileWriter::create(path, platform::AudioFileFormat::AAC));
    SL42_TRY_VOID(writer.write(song.channel(0), song.channel(1)));
    return writer.finish();
}

static std::string temporaryFile() {
    std::error_code none;
    const auto folder = std::filesystem::temp_directory_path(none);
    return ((none ? std::filesystem::path("/tmp") : folder) / "temp.m4a").string();
}

void exportAAC(const platform::PCMBuffer* song, const SaveDialog& saveDialog, platform::Log& log) {
    if (!song) {
        log.line("Attempted to export, but no audio available");
        return;
    }
    const std::string temporary = temporaryFile();
    // What somebody else may have put there (others can write to that folder, too) is not followed.
    std::error_code nothingThere;
    std::filesystem::remove(temporary, nothingThere);
    if (const auto written = writeSong(*song, temporary); !written) {
        log.line("Failed to write audio export file: " + written.error().message);
        return;
    }
    const auto destination = saveDialog("Drumwheel.m4a");
    if (!destination)
        return;
    if (const auto moved = platform::moveFile(temporary, *destination); !moved)
        log.line("Failed to move exported file: " + moved.error().message);
}

} // namespace starloom
