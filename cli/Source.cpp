// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "cli/Source.h"

#include "SL42/builder/Preprocessor.h"
#include "SL42/console/StarloomDocument.h"
#include "SL42/document/Compression.h"
#include "platform/TextFile.h"

#include <array>
#include <filesystem>
#include <iostream>
#include <span>
#include <utility>

namespace cli {
namespace {

namespace fs = std::filesystem;
using platform::Error;
using platform::Result;

constexpr const char* standardInput = "standard input";

Result<std::string> readStandardInput() {
    std::string bytes;
    std::array<char, 65536> piece{};
    while (std::cin.read(piece.data(), piece.size()) || std::cin.gcount() > 0) {
        bytes.append(piece.data(), static_cast<std::size_t>(std::cin.gcount()));
        if (bytes.size() > platform::maxTextFileLength)
            return Error{std::string(standardInput) + ": Too long for a program text"};
    }
    return bytes;
}

/// Compressed text is hardly ever UTF-8.
Result<std::string> textIn(std::string bytes, const std::string& name) {
    if (platform::isValidUtf8(bytes))
        return std::string(platform::withoutByteOrderMark(bytes));
    auto unpacked = starloom::Unpacker::unpack(std::as_bytes(std::span(bytes)));
    if (!unpacked)
        return Error{name + ": Not UTF-8 text"};
    return unpacked;
}

} // namespace

Result<Source> readSource(const std::string& path) {
    if (path == "-") {
        std::string bytes = SL42_TRY(readStandardInput());
        return Source{standardInput, SL42_TRY(textIn(std::move(bytes), standardInput))};
    }
    const fs::path file(path);
    if (file.extension() == "." + std::string(starloom::documentExtension))
        return readDocumentSource(path);
    std::string bytes = SL42_TRY(platform::readShortFile(file));
    return Source{file.stem().string(), SL42_TRY(textIn(std::move(bytes), path))};
}

Result<Source> readProgram(const std::string& path) {
    Source source = SL42_TRY(readSource(path));
    if (const auto bad = starloom::findBadMusic(source.text))
        return Error{(path == "-" ? standardInput : path) + ":" + std::to_string(bad->line) + ": " +
                     bad->reason};
    return source;
}

std::string nameOf(const std::string& path, const Source& source) {
    return path == "-" ? source.title : path;
}

Result<Source> readDocumentSource(const std::string& path) {
    if (path != "-")
        return Source{fs::path(path).stem().string(), SL42_TRY(starloom::readDocument(path))};
    const std::string bytes = SL42_TRY(readStandardInput());
    return Source{standardInput, starloom::decodeDocument(std::as_bytes(std::span(bytes)))};
}

} // namespace cli
