// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/compression/Encoder.h"

#include <lzma.h>

#include <vector>

namespace platform {
namespace {

/// Preset 3 of 9. Higher ones take milliseconds, mostly to get memory.
constexpr std::uint32_t preset = 3;

class LzmaEncoder final : public Encoder {
public:
    explicit LzmaEncoder(std::size_t bufferSize) : m_buffer(bufferSize) {}
    ~LzmaEncoder() override { ::lzma_end(&m_stream); }

    bool start() { return ::lzma_easy_encoder(&m_stream, preset, LZMA_CHECK_CRC32) == LZMA_OK; }
    bool encode(std::span<const std::byte> bytes, const Emit& emit) override {
        m_stream.next_in = reinterpret_cast<const std::uint8_t*>(bytes.data());
        m_stream.avail_in = bytes.size();
        return run(LZMA_RUN, emit);
    }
    bool finish(const Emit& emit) override { return run(LZMA_FINISH, emit); }

private:
    bool run(lzma_action action, const Emit& emit) {
        lzma_ret status = LZMA_OK;
        do {
            m_stream.next_out = reinterpret_cast<std::uint8_t*>(m_buffer.data());
            m_stream.avail_out = m_buffer.size();
            status = ::lzma_code(&m_stream, action);
            if (status != LZMA_OK && status != LZMA_STREAM_END)
                return false;
            emit(std::span(m_buffer).first(m_buffer.size() - m_stream.avail_out));
        } while (action == LZMA_FINISH ? status != LZMA_STREAM_END : m_stream.avail_in > 0);
        return true;
    }

    lzma_stream m_stream = LZMA_STREAM_INIT;
    std::vector<std::byte> m_buffer;
};

} // namespace

std::unique_ptr<Encoder> makeLzmaEncoder(std::size_t bufferSize) {
    auto encoder = std::make_unique<LzmaEncoder>(bufferSize);
    return encoder->start() ? std::move(encoder) : nullptr;
}

} // namespace platform
