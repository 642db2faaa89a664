// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/TextFile.h"

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <system_error>

namespace platform {

Result<std::string> readShortFile(const std::filesystem::path& path) {
    std::error_code failure;
    if (!std::filesystem::is_regular_file(path, failure))
        return Error{path.string() + ": " + (failure ? failure.message() : "Not a file")};
    const std::uintmax_t size = std::filesystem::file_size(path, failure);
    if (failure)
        return Error{path.string() + ": " + failure.message()};
    if (size > maxTextFileLength)
        return Error{path.string() + ": Too long for a program text"};
    std::ifstream file(path, std::ios::binary);
    std::string text(static_cast<std::size_t>(size), '\0');
    if (!file || (!file.read(text.data(), static_cast<std::streamsize>(size)) && !file.eof()))
        return Error{path.string() + ": Cannot be read"};
    text.resize(static_cast<std::size_t>(file.gcount()));
    return text;
}

Result<std::string> readTextFile(const std::filesystem::path& path) {
    std::string text = SL42_TRY(readShortFile(path));
    if (!isValidUtf8(text))
        return Error{path.string() + ": Not UTF-8 text"};
    return std::string(withoutByteOrderMark(text));
}

std::string_view withoutByteOrderMark(std::string_view text) {
    constexpr std::string_view mark = "\xEF\xBB\xBF";
    return text.starts_with(mark) ? text.substr(mark.size()) : text;
}

static bool isContinuation(char byte) {
    return (static_cast<std::uint8_t>(byte) & 0xC0) == 0x80;
}

// Length of the sequence that starts at `text`, or 0 when it is malformed. The second byte carries
// the limits that exclude overlong forms and surrogates (Unicode standard, table 3-7).
static std::size_t sequenceLength(std::string_view text) {
    const auto first = static_cast<std::uint8_t>(text[0]);
    if (first < 0x80)
        return 1;
    const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4 || text.size() < length ||
        !std::all_of(text.begin() + 1, text.begin() + static_cast<std::ptrdiff_t>(length),
                     isContinuation))
        return 0;
    const auto second = static_cast<std::uint8_t>(text[1]);
    const bool malformed = (first == 0xE0 && second < 0xA0) || (first == 0xED && second > 0x9F) ||
                           (first == 0xF0 && second < 0x90) || (first == 0xF4 && second > 0x8F);
    return malformed ? 0 : length;
}

bool isValidUtf8(std::string_view text) {
    while (!text.empty()) {
        const std::size_t length = sequenceLength(text);
        if (length == 0)
            return false;
        text.remove_prefix(length);
    }
    return true;
}

std::size_t characterCount(std::string_view text) {
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char byte) { return !isContinuation(byte); }));
}

} // namespace platform
