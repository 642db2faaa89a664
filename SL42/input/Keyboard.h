// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The keyboard as programs see it.
#pragma once

#include <array>
#include <cstddef>
#include <functional>

namespace starloom {

inline constexpr std::size_t keyCount = 128;
/// One flag per console key code: ASCII, with special keys below 32.
using KeyFlags = std::array<bool, keyCount>;

struct KeyboardState {
    KeyFlags state{};   ///< held
    KeyFlags pressed{}; ///< held now, but not at the poll before
};

static_assert(sizeof(KeyboardState) == 2 * keyCount);

/// Main thread.
class Keyboard {
public:
    /// Tells which keys are held now.
    using Source = std::function<KeyFlags()>;

    /// Without a source no key is ever held.
    void setSource(Source source);
    /// Polls once; called once a frame.
    KeyboardState getKeyboardState();

private:
    Source m_source;
    KeyFlags m_lastKeys{};
};

} // namespace starloom
