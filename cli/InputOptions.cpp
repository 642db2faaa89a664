// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "cli/InputOptions.h"

#include "SL42/hardware/AudioSpec.h"
#include "platform/TextFile.h"
#include "platform/media/SoundFile.h"

#include <algorithm>
#include <cmath>
#include <filesystem>

namespace cli {

using platform::Error;
using platform::Result;

/// More would be days.
static constexpr double mostSeconds = 1e6;

void InputOptions::addTo(Subcommand& command) {
    command.add("--audio", audio,
                "A sound file that the sound input hears from the first frame on, and then "
                "silence");
    command.add("--input", script,
                "A script of keys and mouse, one event in JSON a line: {\"frame\": 30, "
                "\"press\": \"Left\"}; see docs/performance.md");
}

Result<starloom::InputFiles> InputOptions::read(double seconds) const {
    starloom::InputFiles files;
    if (!audio.empty()) {
        const double samples =
            std::ceil(std::min(seconds, mostSeconds)) * starloom::audioSampleRate;
        files.soundName = std::filesystem::path(audio).filename().string();
        files.sound =
            SL42_TRY(platform::readMonoSound(audio, static_cast<std::size_t>(samples) + 1));
    }
    if (!script.empty()) {
        auto events = starloom::parseInputScript(SL42_TRY(platform::readShortFile(script)));
        if (!events)
            return Error{script + ":" + events.error().message};
        files.events = *std::move(events);
    }
    return files;
}

} // namespace cli
