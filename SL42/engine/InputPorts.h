// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What comes into the machine from outside: keyboard, mouse and spectrum, on their way into the
// buffers that programs read.
#pragma once

#include "SL42/hardware/FFTValues.h"
#include "SL42/hardware/MachineBuffers.h"
#include "SL42/input/FrameState.h"
#include "SL42/input/Keyboard.h"
#include "SL42/input/MouseValues.h"
#include "platform/Published.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace starloom {

/// Main thread. Writes while frames are in flight, which may see the next one's input.
class InputPorts {
public:
    /// The buffers must outlive it, and be there whenever something is written.
    explicit InputPorts(MachineBuffers& buffers) : m_buffers(buffers) {}

    Keyboard& keyboard() { return m_keyboard; }
    /// Polls the keyboard, once a frame.
    void copyKeyboard();

    const MouseValues& mouseValues() const { return m_mouseValues.get(); }
    /// Stores the values and writes them to the machine.
    void setMouseValues(const MouseValues& values);
    /// A frame has seen the clicks.
    void clearClicks();

    void copySpectrum(const FFTValues& values);

    /// What programs read now, for a frame at that time.
    FrameState state(float time, std::uint32_t sample) const;
    /// Writes all that a frame sees, in place of what keyboard, mouse and sound input say.
    void write(const FrameState& state);

    /// Counts the writes that have changed what programs read.
    std::uint64_t changes() const { return m_changes; }

private:
    void write(gpu::Buffer& buffer, std::span<const std::byte> bytes);

    MachineBuffers& m_buffers;
    Keyboard m_keyboard;
    platform::Published<MouseValues> m_mouseValues;
    std::uint64_t m_changes = 0;
};

} // namespace starloom
