// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The keyboard as programs see it: 128 flags by character code, with special keys below 32.
#pragma once

#include "platform/keyboard/KeyStateSource.h"

#include <array>
#include <cstddef>
#include <memory>

namespace starloom {

inline constexpr std::size_t keyCount = 128;
/// One flag per console key code: 1 Shift, 2 Command, 3 Control, 4 Option, 28 to 31 the arrow keys
/// (left, right, up, down), otherwise the character that the key gives, from 8 to 127.
using KeyFlags = std::array<bool, keyCount>;

struct KeyboardState {
    KeyFlags state{};   ///< held
    KeyFlags pressed{}; ///< held now, but not at the poll before
};

static_assert(sizeof(KeyboardState) == 2 * keyCount);

/// Main thread.
class Keyboard {
public:
    /// Without a source no key is ever held.
    void setSource(std::shared_ptr<platform::KeyStateSource> source);
    /// Polls once; called once a frame. While Command, Control or Option is held only modifiers are
    /// reported, so that shortcuts never count as typing.
    KeyboardState getKeyboardState();

private:
    std::shared_ptr<platform::KeyStateSource> m_source;
    KeyFlags m_lastKeys{};
};

} // namespace starloom
