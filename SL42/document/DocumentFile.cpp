// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/document/DocumentFile.h"

#include "SL42/document/Compression.h"
#include "platform/TextFile.h"
#include "platform/base/Fatal.h"

#include <utility>

namespace starloom {

using platform::Result;

std::optional<std::string_view> preferredFilenameExtension(std::string_view type) {
    if (type != documentType)
        return std::nullopt;
    return documentExtension;
}

std::string decodeDocument(std::span<const std::byte> data) {
    auto text = Unpacker::unpack(data);
    if (!text)
        platform::fatalError("Error occurred during decoding: " + text.error().message + ".");
    return *std::move(text);
}

Result<std::string> readDocument(const std::filesystem::path& path) {
    const std::string data = SL42_TRY(platform::readShortFile(path));
    return decodeDocument(std::as_bytes(std::span(data)));
}

} // namespace starloom
