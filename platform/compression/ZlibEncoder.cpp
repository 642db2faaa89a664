// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/compression/Encoder.h"

#include <zlib.h>

#include <vector>

namespace platform {
namespace {

class ZlibEncoder final : public Encoder {
public:
    explicit ZlibEncoder(std::size_t bufferSize) : m_buffer(bufferSize) {}
    ~ZlibEncoder() override { ::deflateEnd(&m_stream); }

    bool start() {
        // A negative window size asks for a raw stream. The best level costs next to nothing here.
        constexpr int memoryLevel = 8; // zlib's default
        return ::deflateInit2(&m_stream, Z_BEST_COMPRESSION, Z_DEFLATED, -MAX_WBITS, memoryLevel,
                              Z_DEFAULT_STRATEGY) == Z_OK;
    }
    bool encode(std::span<const std::byte> bytes, const Emit& emit) override {
        // zlib only reads the input, but an older signature has no const.
        m_stream.next_in = reinterpret_cast<Bytef*>(const_cast<std::byte*>(bytes.data()));
        m_stream.avail_in = static_cast<uInt>(bytes.size());
        return run(Z_NO_FLUSH, emit);
    }
    bool finish(const Emit& emit) override { return run(Z_FINISH, emit); }

private:
    bool run(int flush, const Emit& emit) {
        int status = Z_OK;
        do {
            m_stream.next_out = reinterpret_cast<Bytef*>(m_buffer.data());
            m_stream.avail_out = static_cast<uInt>(m_buffer.size());
            status = ::deflate(&m_stream, flush);
            if (status == Z_STREAM_ERROR)
                return false;
            emit(std::span(m_buffer).first(m_buffer.size() - m_stream.avail_out));
        } while (m_stream.avail_out == 0);
        return flush != Z_FINISH || status == Z_STREAM_END;
    }

    z_stream m_stream{};
    std::vector<std::byte> m_buffer;
};

} // namespace

std::unique_ptr<Encoder> makeZlibEncoder(std::size_t bufferSize) {
    auto encoder = std::make_unique<ZlibEncoder>(bufferSize);
    return encoder->start() ? std::move(encoder) : nullptr;
}

} // namespace platform
