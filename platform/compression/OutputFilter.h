// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Compressing piece by piece: what is written goes through an encoder, and what comes out of it is
// handed on in blocks.
#pragma once

#include "platform/base/Result.h"
#include "platform/compression/Algorithm.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <span>

namespace platform {

class Encoder;

/// One thread. Levels are fixed, and chosen so that all algorithms together take less than a
/// millisecond for a program of some kilobytes.
class OutputFilter {
public:
    /// Receives compressed bytes, at most a buffer full and never none at a time.
    using Sink = std::function<void(std::span<const std::byte> block)>;

    /// `bufferSize` in bytes. Zlib makes raw DEFLATE (RFC 1951), without header and checksum. Fails
    /// for Lzfse, for which there is no library, and when there is no memory.
    static Result<OutputFilter> compressing(CompressionAlgorithm algorithm, std::size_t bufferSize,
                                            Sink sink);
    OutputFilter(OutputFilter&&) noexcept;
    OutputFilter& operator=(OutputFilter&&) noexcept;
    ~OutputFilter();

    /// Takes the next bytes. None at all finishes the stream; nothing may be written after that.
    Result<void> write(std::span<const std::byte> bytes);

private:
    OutputFilter(std::unique_ptr<Encoder> encoder, Sink sink);

    std::unique_ptr<Encoder> m_encoder;
    Sink m_sink;
};

} // namespace platform
