// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What the export commands have done on other threads: a program's picture, song and video as
// files.
#pragma once

#include "SL42/offline/VideoExport.h"
#include "app/window/FileTask.h"
#include "platform/audio/PCMBuffer.h"
#include "platform/image/Image.h"

#include <memory>
#include <string>

namespace app {

/// As PNG or, under the ending .exr, with all values unclamped.
FileTask::Work makePicture(platform::Image picture, const std::filesystem::path& file);
/// As AAC or, under the ending .wav, with every bit.
FileTask::Work makeSong(std::shared_ptr<const platform::PCMBuffer> song,
                        const std::filesystem::path& file);

struct VideoOrder {
    std::string title;
    std::string source;
    starloom::VideoSettings settings;
    std::string device; ///< as gpu::Device::use() understands it
};
/// By a console and a device of its own.
FileTask::Work makeVideo(VideoOrder order, const std::filesystem::path& file);

} // namespace app
