// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/keyboard/FocusKeyStateSource.h"

namespace platform {

static char32_t withOtherCase(char32_t character) {
    if (character >= U'a' && character <= U'z')
        return character - U'a' + U'A';
    if (character >= U'A' && character <= U'Z')
        return character - U'A' + U'a';
    return character;
}

void FocusKeyStateSource::pressModifier(KeyNumber number, ModifierKey modifier) {
    m_held[number] = {.modifier = modifier};
}

void FocusKeyStateSource::press(KeyNumber number, char32_t character, bool shift) {
    Key& key = m_known[number];
    char32_t& same = shift ? key.shiftedCharacter : key.character;
    char32_t& other = shift ? key.character : key.shiftedCharacter;
    same = character;
    if (other == 0)
        other = withOtherCase(character);
    m_held[number] = key;
}

void FocusKeyStateSource::release(KeyNumber number) {
    m_held.erase(number);
}

void FocusKeyStateSource::loseFocus() {
    m_held.clear();
    m_known.clear(); // the layout may be another one when we come back
}

std::span<const Key> FocusKeyStateSource::heldKeys() {
    m_keys.clear();
    for (const auto& [number, key] : m_held)
        m_keys.push_back(key);
    return m_keys;
}

} // namespace platform
