// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/capture/x11/XText.h"

#include "platform/TextFile.h"

namespace platform::x11 {
namespace {

constexpr std::size_t longestCharacter = 4;

/// The character that the bytes begin with; empty where that is not well-formed.
std::string_view firstCharacter(std::string_view bytes) {
    for (std::size_t length = 1; length <= longestCharacter; ++length) {
        if (isValidUtf8(bytes.substr(0, length)))
            return bytes.substr(0, length);
    }
    return {};
}

bool isControl(std::string_view character) {
    const auto first = static_cast<unsigned char>(character[0]);
    return first < 0x20 || first == 0x7f ||
           (first == 0xc2 && static_cast<unsigned char>(character[1]) < 0xa0);
}

std::string utf8FromLatin1(std::string_view bytes) {
    std::string text;
    for (const char byte : bytes) {
        const auto code = static_cast<unsigned char>(byte);
        if (code < 0x80) {
            text += byte;
        } else {
            text += static_cast<char>(0xc0 | code >> 6);
            text += static_cast<char>(0x80 | (code & 0x3f));
        }
    }
    return text;
}

} // namespace

std::string textOf(std::string_view bytes, Encoding encoding) {
    if (encoding == Encoding::Latin1 && !isValidUtf8(bytes))
        return textOf(utf8FromLatin1(bytes), Encoding::Utf8);
    std::string text;
    while (!bytes.empty() && text.size() + longestCharacter <= maximumTextLength) {
        const std::string_view character = firstCharacter(bytes);
        if (character.empty())
            text += "\xef\xbf\xbd";
        else if (isControl(character))
            text += ' ';
        else
            text += character;
        bytes.remove_prefix(character.empty() ? 1 : character.size());
    }
    return text;
}

} // namespace platform::x11
