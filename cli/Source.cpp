// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "cli/Source.h"

#include "platform/TextFile.h"

#include <array>
#include <filesystem>
#include <iostream>

namespace cli {
namespace {

platform::Result<std::string> readStandardInput() {
    std::string text;
    std::array<char, 65536> piece{};
    while (std::cin.read(piece.data(), piece.size()) || std::cin.gcount() > 0) {
        text.append(piece.data(), static_cast<std::size_t>(std::cin.gcount()));
        if (text.size() > platform::maxTextFileLength)
            return platform::Error{"standard input: Too long for a program text"};
    }
    if (!platform::isValidUtf8(text))
        return platform::Error{"standard input: Not UTF-8 text"};
    return text;
}

} // namespace

platform::Result<Source> readSource(const std::string& path) {
    if (path == "-")
        return Source{"standard input", SL42_TRY(readStandardInput())};
    return Source{std::filesystem::path(path).stem().string(),
                  SL42_TRY(platform::readTextFile(path))};
}

} // namespace cli
