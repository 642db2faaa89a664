// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The keys that our own windows see, for displays that show a program no keys but its own, as
// Wayland does. Whoever receives the key events feeds them in here.
#pragma once

#include "platform/keyboard/KeyStateSource.h"

#include <map>
#include <vector>

namespace platform {

/// Main thread.
class FocusKeyStateSource final : public KeyStateSource {
public:
    /// Tells one physical key from another.
    using KeyNumber = unsigned;

    void pressModifier(KeyNumber number, ModifierKey modifier);
    /// `character` is what the key gives now, with Shift held or not. What it gives otherwise is
    /// known from an earlier press; until there was one, letters change case and other keys give
    /// the same character.
    void press(KeyNumber number, char32_t character, bool shift);
    void release(KeyNumber number);
    /// Without the focus we no longer see keys being released, so none counts as held.
    void loseFocus();

    std::span<const Key> heldKeys() override;

private:
    std::map<KeyNumber, Key> m_held;
    /// Every key seen since the focus came, as far as it is known.
    std::map<KeyNumber, Key> m_known;
    std::vector<Key> m_keys;
};

} // namespace platform
