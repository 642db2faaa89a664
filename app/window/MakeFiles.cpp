// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "app/window/MakeFiles.h"

#include "platform/image/Exr.h"
#include "platform/image/Png.h"
#include "platform/media/AudioFileWriter.h"

#include <algorithm>
#include <utility>

namespace app {

using platform::Result;

FileTask::Work makePicture(platform::Image picture, const std::filesystem::path& file) {
    return [picture = std::move(picture), file](const auto&, const auto&) {
        const auto write = file.extension() == ".exr" ? platform::writeExr : platform::writePng;
        return write(picture, file.string());
    };
}

static Result<void> writeSong(const platform::PCMBuffer& song, const std::filesystem::path& file,
                              const FileTask::Progress& progress, const std::stop_token& stop) {
    const auto format = file.extension() == ".wav" ? platform::AudioFileFormat::WAV
                                                   : platform::AudioFileFormat::AAC;
    auto writer = SL42_TRY(platform::AudioFileWriter::create(file.string(), format));
    constexpr std::uint32_t piece = 48000;
    for (std::uint32_t at = 0; at < song.frameLength(); at += piece) {
        if (stop.stop_requested())
            return platform::Error{"cancelled"};
        const std::uint32_t length = std::min(piece, song.frameLength() - at);
        SL42_TRY_VOID(
            writer.write(song.channel(0).subspan(at, length), song.channel(1).subspan(at, length)));
        progress(at + length, song.frameLength());
    }
    return writer.finish();
}

FileTask::Work makeSong(std::shared_ptr<const platform::PCMBuffer> song,
                        const std::filesystem::path& file) {
    return [song = std::move(song), file](const FileTask::Progress& progress,
                                          const std::stop_token& stop) {
        return writeSong(*song, file, progress, stop);
    };
}

static Result<void> renderVideo(const VideoOrder& order, const std::filesystem::path& file,
                                const FileTask::Progress& progress, const std::stop_token& stop) {
    const auto device = gpu::Device::systemDefault(order.device);
    if (!device)
        return platform::Error{"There is no device for the video"};
    device->use(order.device);                     // the environment may have suggested another one
    device->setTimeLimit(std::chrono::minutes(1)); // nobody waits for its frames
    starloom::OfflineConsole console(device, order.title, order.source);
    if (!console.isComplete())
        return platform::Error{"The program does not compile"};
    return starloom::exportVideo(console, order.settings, file.string(), progress, stop);
}

FileTask::Work makeVideo(VideoOrder order, const std::filesystem::path& file) {
    return [order = std::move(order), file](const FileTask::Progress& progress,
                                            const std::stop_token& stop) {
        return renderVideo(order, file, progress, stop);
    };
}

} // namespace app
