// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// One running compressor; what OutputFilter is made of. Each library has its own file.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <span>

namespace platform {

class Encoder {
public:
    using Emit = std::function<void(std::span<const std::byte> block)>;

    virtual ~Encoder() = default;
    /// Both say whether all went well.
    virtual bool encode(std::span<const std::byte> bytes, const Emit& emit) = 0;
    virtual bool finish(const Emit& emit) = 0;
};

// Null when there is no memory. `bufferSize` is the most that they emit at once, in bytes.
std::unique_ptr<Encoder> makeBrotliEncoder(std::size_t bufferSize);
std::unique_ptr<Encoder> makeLz4Encoder(std::size_t bufferSize);
std::unique_ptr<Encoder> makeLzmaEncoder(std::size_t bufferSize);
std::unique_ptr<Encoder> makeZlibEncoder(std::size_t bufferSize);

} // namespace platform
