// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The compression algorithms that we know by name.
#pragma once

#include <string_view>

namespace platform {

enum class CompressionAlgorithm { Brotli, Lz4, Lzfse, Lzma, Zlib };

/// In lower case, such as "zlib".
std::string_view nameOf(CompressionAlgorithm algorithm);

} // namespace platform
