// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Sound and events from files as input of a console without a window.
#pragma once

#include "SL42/input/MouseValues.h"
#include "SL42/performance/InputScript.h"
#include "platform/Clock.h"
#include "platform/audio/SampleCapture.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace starloom {

/// What there is to hear and what happens; by default nothing.
struct InputFiles {
    std::string soundName;
    std::vector<float> sound; ///< mono, 48000 a second; empty for none
    std::vector<InputEvent> events;
};

/// Counts frames from the load on. What it holds is an ordinary sound input and an ordinary
/// keyboard for the machine. One thread.
class OfflineInput {
public:
    platform::AudioCapture& capture() { return m_capture; }
    /// To be set as the keyboard's after load().
    std::shared_ptr<platform::KeyStateSource> keys() const { return m_script.keys(); }

    void load(InputFiles files);
    /// Lets the machine hear what sounds before the next frame, which is at `time`, and plays what
    /// happens in it; the result is as in ScriptedInput::advance(). Spectra are on the main queue
    /// then.
    std::optional<MouseValues> beginFrame(platform::Seconds time, const MouseValues& mouse);

private:
    platform::SampleCapture m_capture;
    ScriptedInput m_script;
    std::uint64_t m_frame = 0;
};

} // namespace starloom
