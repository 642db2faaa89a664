// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Documents as files: their type, what is in them, and what a new one holds.
#pragma once

#include "platform/base/Result.h"

#include <cstddef>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace starloom {

/// The text of a new document.
extern const std::string_view defaultSource;

/// The document type and the ending of its files, as packaging/ declares them.
inline constexpr std::string_view documentType = "org.starloom42.document";
inline constexpr std::string_view documentExtension = "sl42";
/// The ending that goes with a type; none for types that are not ours.
std::optional<std::string_view> preferredFilenameExtension(std::string_view type);

/// The text of a document; stops the program when the bytes hold none.
std::string decodeDocument(std::span<const std::byte> data);
/// The same, from a file. Fails when there is no such regular file or it cannot be read.
platform::Result<std::string> readDocument(const std::filesystem::path& path);

} // namespace starloom
