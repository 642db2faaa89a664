// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/input/Keyboard.h"

#include <span>
#include <utility>

namespace starloom {
namespace {

using platform::Key;
using platform::ModifierKey;

// Modifiers have 1 to 4; 0 and 5 to 7 stay unused.
constexpr std::size_t firstCharacterCode = 8;

std::size_t codeOf(ModifierKey modifier) {
    return 1 + static_cast<std::size_t>(modifier); // in the order of the enumeration
}

KeyFlags flagsOf(std::span<const Key> keys) {
    KeyFlags flags{};
    for (const Key& key : keys) {
        if (key.modifier)
            flags[codeOf(*key.modifier)] = true;
    }
    const auto held = [&flags](ModifierKey modifier) { return flags[codeOf(modifier)]; };
    if (held(ModifierKey::Command) || held(ModifierKey::Control) || held(ModifierKey::Option))
        return flags;
    for (const Key& key : keys) {
        const char32_t character = held(ModifierKey::Shift) ? key.shiftedCharacter : key.character;
        if (character >= firstCharacterCode && character < keyCount)
            flags[character] = true;
    }
    return flags;
}

} // namespace

void Keyboard::setSource(std::shared_ptr<platform::KeyStateSource> source) {
    m_source = std::move(source);
}

KeyboardState Keyboard::getKeyboardState() {
    KeyboardState keyboard;
    if (m_source)
        keyboard.state = flagsOf(m_source->heldKeys());
    for (std::size_t key = 0; key < keyCount; ++key)
        keyboard.pressed[key] = keyboard.state[key] && !m_lastKeys[key];
    m_lastKeys = keyboard.state;
    return keyboard;
}

} // namespace starloom
