// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/offline/OfflineInput.h"

#include "SL42/hardware/AudioSpec.h"

#include <cmath>
#include <utility>

namespace starloom {

/// The time of a frame is rounded, and what begins with it belongs to it.
static constexpr double rounding = 1e-9;

void OfflineInput::load(InputFiles files) {
    m_script = ScriptedInput(std::move(files.events));
    m_frame = 0;
    if (!files.sound.empty())
        m_capture.setSamples(std::move(files.soundName), std::move(files.sound));
}

std::optional<MouseValues> OfflineInput::beginFrame(platform::Seconds time,
                                                    const MouseValues& mouse) {
    const double second = time.count() + rounding;
    m_capture.advance(static_cast<std::uint64_t>(second * audioSampleRate));
    return m_script.advance(m_frame++, second, mouse);
}

} // namespace starloom
