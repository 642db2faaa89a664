// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/audio/ExportAAC.h"

#include "platform/MoveFile.h"
#include "platform/PrivateFolder.h"
#include "platform/media/AudioFileWriter.h"

#include <filesystem>
#include <system_error>

namespace starloom {

namespace fs = std::filesystem;

static platform::Result<void> writeSong(const platform::PCMBuffer& song, const fs::path& path) {
    auto writer =
        SL42_TRY(platform::AudioFileWriter::create(path.string(), platform::AudioFileFormat::AAC));
    SL42_TRY_VOID(writer.write(song.channel(0), song.channel(1)));
    return writer.finish();
}

static platform::Result<fs::path> writeTemporary(const platform::PCMBuffer& song) {
    const fs::path folder = SL42_TRY(platform::makePrivateFolder());
    const fs::path file = folder / "temp.m4a";
    if (const auto written = writeSong(song, file); !written) {
        std::error_code ignored;
        fs::remove(folder, ignored);
        return written.error();
    }
    return file;
}

void exportAAC(const platform::PCMBuffer* song, const platform::SavePanel& panel,
               platform::Log& log) {
    if (!song) {
        log.line("Attempted to export, but no audio available");
        return;
    }
    const auto temporary = writeTemporary(*song);
    if (!temporary) {
        log.line("Failed to write audio export file: " + temporary.error().message);
        return;
    }
    const auto destination = panel("Drumwheel.m4a");
    if (!destination)
        return;
    if (const auto moved = platform::moveFile(temporary->string(), *destination); !moved) {
        log.line("Failed to move exported file: " + moved.error().message);
        return;
    }
    std::error_code ignored;
    fs::remove(temporary->parent_path(), ignored);
}

} // namespace starloom
