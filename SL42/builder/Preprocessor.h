// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The scan of a program before it is compiled: which entry functions it has, which song it plays,
// and what must be added so that everything that the kernels call is there.
#pragma once

#include "SL42/hardware/AudioSpec.h"
#include "platform/Log.h"

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace starloom {

struct PreprocessedSource {
    bool hasCPU = false;
    bool hasVideo = false;
    bool hasAudio = false;
    /// False only when nothing in the program can draw text.
    bool mayDrawText = false;
    /// To be appended to the program.
    std::string additions;
};

/// Scans line by line for "cpu()", "fx()", "sfx()" and music lines; lines that start with "//" do
/// not count. Reports what it finds to `log` and each music line to `onMusic`, in their order.
PreprocessedSource preprocessSource(std::string_view source, platform::Log& log,
                                    const std::function<void(const AudioSpec&)>& onMusic);

/// The song that a line asks for, the first if there are several: "music = {bpm, beats, bars,
/// patterns}", also with "int4(" or with no bracket at all; what follows the fourth number does
/// not matter.
std::optional<AudioSpec> findMusic(std::string_view line);

/// The first music line of a program whose song could not be played, which would stop the console.
struct BadMusic {
    std::size_t line = 0; ///< counted from 1
    std::string reason;
};
/// To be asked before a text is handed to a console that must go on.
std::optional<BadMusic> findBadMusic(std::string_view source);

} // namespace starloom
