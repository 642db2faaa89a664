// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/compression/Algorithm.h"

namespace platform {

std::string_view nameOf(CompressionAlgorithm algorithm) {
    switch (algorithm) {
    case CompressionAlgorithm::Brotli:
        return "brotli";
    case CompressionAlgorithm::Lz4:
        return "lz4";
    case CompressionAlgorithm::Lzfse:
        return "lzfse";
    case CompressionAlgorithm::Lzma:
        return "lzma";
    case CompressionAlgorithm::Zlib:
        return "zlib";
    }
    return {};
}

} // namespace platform
