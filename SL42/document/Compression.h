// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// How documents are compressed: the text as UTF-8 in one raw DEFLATE stream, with nothing around
// it.
#pragma once

#include "platform/Log.h"
#include "platform/WholeFile.h"
#include "platform/base/Result.h"
#include "platform/compression/Algorithm.h"

#include <array>
#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace starloom {

/// The algorithm of every stored and packed stream.
inline constexpr auto algo = platform::CompressionAlgorithm::Zlib;
/// The algorithms of the size survey, in its order.
inline constexpr std::array algos{
    platform::CompressionAlgorithm::Brotli, platform::CompressionAlgorithm::Lz4,
    platform::CompressionAlgorithm::Lzfse, platform::CompressionAlgorithm::Lzma,
    platform::CompressionAlgorithm::Zlib};
/// Bytes that a compressor is fed, and a decompressor is asked for, at once.
inline constexpr std::size_t pageSize = 4096;
/// Bytes of buffer of each of them.
inline constexpr std::size_t streamBufferSize = 0x10000;

struct Packer {
    /// Compresses a text as documents are stored. Fails when there is no memory.
    static platform::Result<platform::Bytes> pack(std::string_view text);
    /// The size survey: compresses with each algorithm and logs how many bytes come out, or that
    /// there is no such encoder here. Returns what the last one made.
    static platform::Result<platform::Bytes> multipack(std::string_view text, platform::Log& log);
};

struct Unpacker {
    /// The text of a stored document. Fails when `data` is not exactly one DEFLATE stream, and as
    /// soon as more comes out of it than a program can have (platform::maxTextFileLength), because
    /// a megabyte of stream can hold a gigabyte of text. Stops the program when the text is not
    /// UTF-8.
    static platform::Result<std::string> unpack(std::span<const std::byte> data);
    /// The same without stopping: text that is not UTF-8 is an error like the others.
    static platform::Result<std::string> tryUnpack(std::span<const std::byte> data);
};

} // namespace starloom
