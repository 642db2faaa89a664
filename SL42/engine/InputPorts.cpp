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

// A kernel may have written to the buffers, and not every byte is a flag.
static bool flagAt(gpu::Buffer& buffer, std::size_t index) {
    return buffer.contents()[index] != std::byte{0};
}

FrameState InputPorts::state(float time, std::uint32_t sample) const {
    FrameState state;
    state.time = time;
    state.sample = sample;
    for (std::size_t key = 0; key < keyCount; ++key) {
        state.keyboard.state[key] = flagAt(*m_buffers.keyboardBuffer, key);
        state.keyboard.pressed[key] = flagAt(*m_buffers.keyboardBuffer, keyCount + key);
    }
    MtlMouseDataStruct& mouse = state.mouse;
    std::memcpy(&mouse.location, m_buffers.mouseBuffer->contents().data(), sizeof mouse.location);
    std::size_t at = sizeof mouse.location;
    for (bool* flag : {&mouse.leftMouseDown, &mouse.rightMouseDown, &mouse.leftMouseClick,
                       &mouse.rightMouseClick})
        *flag = flagAt(*m_buffers.mouseBuffer, at++);
    std::memcpy(&state.spectrum, m_buffers.fftBuffer->contents().data(), sizeof state.spectrum);
    return state;
}

void InputPorts::write(const FrameState& state) {
    write(*m_buffers.keyboardBuffer, std::as_bytes(std::span(&state.keyboard, 1)));
    write(*m_buffers.mouseBuffer, std::as_bytes(std::span(&state.mouse, 1)));
    copySpectrum(state.spectrum);
}

void InputPorts::copySpectrum(const FFTValues& values) {
    write(*m_buffers.fftBuffer, std::as_bytes(std::span(&values, 1)));
}

} // namespace starloom
