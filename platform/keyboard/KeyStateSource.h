// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Which keys are held and what they mean in the keyboard layout in use. The console polls this once
// a frame; it does not wait for events.
#pragma once

#include <optional>
#include <span>

namespace platform {

/// Left and right count as one, in the order of the console's key codes. Command is the key also
/// called Super or Windows, Option is Alt.
enum class ModifierKey { Shift, Command, Control, Option };

/// What one key means. A key that means nothing to us has no modifier and zeros.
struct Key {
    std::optional<ModifierKey> modifier;
    /// The character that it gives by itself and together with Shift; locks do not count. Return is
    /// 13, Backspace 8, Tab 9, Escape 27, and the arrow keys give arrowLeft to arrowDown.
    char32_t character = 0;
    char32_t shiftedCharacter = 0;

    bool operator==(const Key&) const = default;
};

inline constexpr char32_t arrowLeft = 28;
inline constexpr char32_t arrowRight = 29;
inline constexpr char32_t arrowUp = 30;
inline constexpr char32_t arrowDown = 31;

/// Main thread.
class KeyStateSource {
public:
    virtual ~KeyStateSource() = default;
    /// The keys held at this moment, in no particular order; valid until the next call.
    virtual std::span<const Key> heldKeys() = 0;
};

} // namespace platform
