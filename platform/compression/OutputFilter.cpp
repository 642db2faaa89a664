// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/compression/OutputFilter.h"

#include "platform/compression/Encoder.h"

#include <string>
#include <utility>

namespace platform {
namespace {

std::unique_ptr<Encoder> makeEncoder(CompressionAlgorithm algorithm, std::size_t bufferSize) {
    switch (algorithm) {
    case CompressionAlgorithm::Brotli:
        return makeBrotliEncoder(bufferSize);
    case CompressionAlgorithm::Lz4:
        return makeLz4Encoder(bufferSize);
    case CompressionAlgorithm::Lzma:
        return makeLzmaEncoder(bufferSize);
    case CompressionAlgorithm::Zlib:
        return makeZlibEncoder(bufferSize);
    case CompressionAlgorithm::Lzfse:
        return nullptr;
    }
    return nullptr;
}

} // namespace

OutputFilter::OutputFilter(std::unique_ptr<Encoder> encoder, Sink sink)
    : m_encoder(std::move(encoder)), m_sink(std::move(sink)) {}
OutputFilter::OutputFilter(OutputFilter&&) noexcept = default;
OutputFilter& OutputFilter::operator=(OutputFilter&&) noexcept = default;
OutputFilter::~OutputFilter() = default;

Result<OutputFilter> OutputFilter::compressing(CompressionAlgorithm algorithm,
                                               std::size_t bufferSize, Sink sink) {
    auto encoder = makeEncoder(algorithm, bufferSize);
    if (!encoder)
        return Error{"there is no " + std::string(nameOf(algorithm)) + " encoder here"};
    return OutputFilter(std::move(encoder), std::move(sink));
}

Result<void> OutputFilter::write(std::span<const std::byte> bytes) {
    const auto emit = [this](std::span<const std::byte> block) {
        if (!block.empty())
            m_sink(block);
    };
    if (!(bytes.empty() ? m_encoder->finish(emit) : m_encoder->encode(bytes, emit)))
        return Error{"the encoder failed"};
    return {};
}

} // namespace platform
