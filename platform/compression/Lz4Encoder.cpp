// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/compression/Encoder.h"

#include <lz4frame.h>
#include <lz4hc.h>

#include <algorithm>
#include <vector>

namespace platform {
namespace {

class Lz4Encoder final : public Encoder {
public:
    explicit Lz4Encoder(std::size_t bufferSize) : m_bufferSize(bufferSize) {
        m_preferences.compressionLevel = LZ4HC_CLEVEL_DEFAULT;
    }
    ~Lz4Encoder() override { ::LZ4F_freeCompressionContext(m_context); }

    bool start() {
        return !::LZ4F_isError(::LZ4F_createCompressionContext(&m_context, LZ4F_VERSION));
    }
    bool encode(std::span<const std::byte> bytes, const Emit& emit) override {
        if (!begin(emit))
            return false;
        // The library only accepts room for the worst case.
        m_block.resize(::LZ4F_compressBound(bytes.size(), &m_preferences));
        return emitBlock(::LZ4F_compressUpdate(m_context, m_block.data(), m_block.size(),
                                               bytes.data(), bytes.size(), nullptr),
                         emit);
    }
    bool finish(const Emit& emit) override {
        if (!begin(emit))
            return false;
        m_block.resize(::LZ4F_compressBound(0, &m_preferences));
        return emitBlock(::LZ4F_compressEnd(m_context, m_block.data(), m_block.size(), nullptr),
                         emit);
    }

private:
    bool begin(const Emit& emit) {
        if (m_begun)
            return true;
        m_begun = true;
        m_block.resize(LZ4F_HEADER_SIZE_MAX);
        return emitBlock(
            ::LZ4F_compressBegin(m_context, m_block.data(), m_block.size(), &m_preferences), emit);
    }

    /// `size` is what the library returned: a length or an error.
    bool emitBlock(std::size_t size, const Emit& emit) {
        if (::LZ4F_isError(size))
            return false;
        for (auto rest = std::span<const std::byte>(m_block).first(size); !rest.empty();) {
            const auto piece = rest.first(std::min(rest.size(), m_bufferSize));
            emit(piece);
            rest = rest.subspan(piece.size());
        }
        return true;
    }

    LZ4F_preferences_t m_preferences{};
    LZ4F_cctx* m_context = nullptr;
    bool m_begun = false;
    std::size_t m_bufferSize;
    std::vector<std::byte> m_block;
};

} // namespace

std::unique_ptr<Encoder> makeLz4Encoder(std::size_t bufferSize) {
    auto encoder = std::make_unique<Lz4Encoder>(bufferSize);
    return encoder->start() ? std::move(encoder) : nullptr;
}

} // namespace platform
