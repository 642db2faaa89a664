// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/engine/InputPorts.h"

#include <cstring>

namespace starloom {

void InputPorts::write(gpu::Buffer& buffer, std::span<const std::byte> bytes) {
    const auto contents = buffer.contents();
    if (std::memcmp(contents.data(), bytes.data(), bytes.size()) == 0)
        return;
    std::memcpy(contents.data(), bytes.data(), bytes.size());
    ++m_changes;
}

void InputPorts::copyKeyboard() {
    const KeyboardState keys = m_keyboard.getKeyboardState();
    write(*m_buffers.keyboardBuffer, std::as_bytes(std::span(&keys, 1)));
}

void InputPorts::setMouseValues(const MouseValues& values) {
    m_mouseValues.set(values);
    write(*m_buffers.mouseBuffer, std::as_bytes(std::span(&values.mouseDataStruct(), 1)));
}

// The left click lasts until a frame has seen it. The right click then reads as set from the first
// frame on: programs have come to rely on that.
void InputPorts::clearClicks() {
    MouseValues values = mouseValues();
    values.setClicks(false, true);
    setMouseValues(values);
}

void InputPorts::copySpectrum(const FFTValues& values) {
    write(*m_buffers.fftBuffer, std::as_bytes(std::span(&values, 1)));
}

} // namespace starloom
