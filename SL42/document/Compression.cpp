// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/document/Compression.h"

#include "platform/TextFile.h"
#include "platform/base/Fatal.h"
#include "platform/compression/InputFilter.h"
#include "platform/compression/OutputFilter.h"

#include <algorithm>

namespace starloom {
namespace {

using platform::Bytes;
using platform::Error;
using platform::Result;

Result<Bytes> compress(std::string_view text, platform::CompressionAlgorithm algorithm) {
    Bytes result;
    auto filter = SL42_TRY(platform::OutputFilter::compressing(
        algorithm, streamBufferSize, [&result](std::span<const std::byte> block) {
            result.insert(result.end(), block.begin(), block.end());
        }));
    auto rest = std::as_bytes(std::span(text));
    while (!rest.empty()) {
        const auto slice = rest.first(std::min(rest.size(), pageSize));
        SL42_TRY_VOID(filter.write(slice));
        rest = rest.subspan(slice.size());
    }
    SL42_TRY_VOID(filter.write({})); // finishes the stream
    return result;
}

} // namespace

Result<Bytes> Packer::pack(std::string_view text) {
    return compress(text, algo);
}

Result<Bytes> Packer::multipack(std::string_view text, platform::Log& log) {
    Bytes result;
    for (const auto algorithm : algos) {
        const std::string name(nameOf(algorithm));
        if (algorithm == platform::CompressionAlgorithm::Lzfse) { // nobody packages a library
            log.line("Not packed with " + name + ", there is no encoder for it here");
            continue;
        }
        result = SL42_TRY(compress(text, algorithm));
        log.line("Packed with " + name + ", " + std::to_string(result.size()) + " bytes");
    }
    return result;
}

static constexpr const char* notUtf8 = "Error occurred decoding decompressed string";

/// Whatever bytes the stream holds.
static Result<std::string> inflate(std::span<const std::byte> data) {
    auto filter =
        SL42_TRY(platform::InputFilter::inflating(streamBufferSize, [&data](std::size_t length) {
            const auto slice = data.first(std::min(length, data.size()));
            data = data.subspan(slice.size());
            return slice;
        }));
    std::string text;
    for (;;) {
        const Bytes page = SL42_TRY(filter.read(pageSize));
        if (page.empty())
            break;
        if (text.size() + page.size() > platform::maxTextFileLength)
            return Error{"it is too long for a program text"};
        text.append(reinterpret_cast<const char*>(page.data()), page.size());
    }
    return text;
}

Result<std::string> Unpacker::tryUnpack(std::span<const std::byte> data) {
    std::string text = SL42_TRY(inflate(data));
    if (!platform::isValidUtf8(text))
        return Error{notUtf8};
    return text;
}

Result<std::string> Unpacker::unpack(std::span<const std::byte> data) {
    std::string text = SL42_TRY(inflate(data));
    if (!platform::isValidUtf8(text))
        platform::fatalError(notUtf8);
    return text;
}

} // namespace starloom
