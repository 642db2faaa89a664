// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/input/Keyboard.h"

#include <utility>

namespace starloom {

void Keyboard::setSource(Source source) {
    m_source = std::move(source);
}

KeyboardState Keyboard::getKeyboardState() {
    KeyboardState keyboard;
    if (m_source)
        keyboard.state = m_source();
    for (std::size_t key = 0; key < keyCount; ++key)
        keyboard.pressed[key] = keyboard.state[key] && !m_lastKeys[key];
    m_lastKeys = keyboard.state;
    return keyboard;
}

} // namespace starloom
