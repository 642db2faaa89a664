// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Input that is written down before: which keys and buttons go down and up, and where the pointer
// is, by frame or by second. docs/performance.md describes the format.
#pragma once

#include "SL42/input/MouseValues.h"
#include "platform/base/Result.h"
#include "platform/keyboard/KeyStateSource.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace starloom {

/// One line of a script.
struct InputEvent {
    /// The first frame that sees it; or else the first one that begins at or after `second`.
    std::optional<std::uint64_t> frame;
    double second = 0;

    std::vector<platform::Key> press;
    std::vector<platform::Key> release;
    std::optional<MouseLocation> mouse;
    std::optional<bool> left;
    std::optional<bool> right;
};

/// The text of a script: an object of JSON in each line that is not blank. The error names the line
/// and says what is wrong with it.
platform::Result<std::vector<InputEvent>> parseInputScript(std::string_view text);

/// Plays events to a machine frame by frame, along the ways that a keyboard and a window take. One
/// thread.
class ScriptedInput {
public:
    /// Nothing happens.
    ScriptedInput() : ScriptedInput(std::vector<InputEvent>()) {}
    explicit ScriptedInput(std::vector<InputEvent> events);

    /// The keys that are held, for Keyboard::setSource().
    std::shared_ptr<platform::KeyStateSource> keys() const;
    /// Plays what is due in that frame, in the order of the lines. The result is what the mouse has
    /// become, when it was `mouse` before; none when nothing has happened to it.
    std::optional<MouseValues> advance(std::uint64_t frame, double second,
                                       const MouseValues& mouse);

private:
    class Keys;

    std::vector<InputEvent> m_events; ///< that are to come
    std::shared_ptr<Keys> m_keys;
};

} // namespace starloom
