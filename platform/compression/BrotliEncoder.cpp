// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/compression/Encoder.h"

#include <brotli/encode.h>

#include <vector>

namespace platform {
namespace {

/// Quality 7 of 11. From 9 on, a program of four kilobytes takes milliseconds.
constexpr std::uint32_t quality = 7;

class BrotliEncoder final : public Encoder {
public:
    BrotliEncoder(BrotliEncoderState* state, std::size_t bufferSize)
        : m_state(state), m_buffer(bufferSize) {}

    bool encode(std::span<const std::byte> bytes, const Emit& emit) override {
        return run(BROTLI_OPERATION_PROCESS, bytes, emit);
    }
    bool finish(const Emit& emit) override { return run(BROTLI_OPERATION_FINISH, {}, emit); }

private:
    struct Destroy {
        void operator()(BrotliEncoderState* state) const { ::BrotliEncoderDestroyInstance(state); }
    };

    bool run(BrotliEncoderOperation operation, std::span<const std::byte> bytes, const Emit& emit) {
        const auto* next = reinterpret_cast<const std::uint8_t*>(bytes.data());
        std::size_t left = bytes.size();
        do {
            auto* out = reinterpret_cast<std::uint8_t*>(m_buffer.data());
            std::size_t room = m_buffer.size();
            if (!::BrotliEncoderCompressStream(m_state.get(), operation, &left, &next, &room, &out,
                                               nullptr))
                return false;
            emit(std::span(m_buffer).first(m_buffer.size() - room));
        } while (left > 0 || ::BrotliEncoderHasMoreOutput(m_state.get()));
        return operation != BROTLI_OPERATION_FINISH || ::BrotliEncoderIsFinished(m_state.get());
    }

    std::unique_ptr<BrotliEncoderState, Destroy> m_state;
    std::vector<std::byte> m_buffer;
};

} // namespace

std::unique_ptr<Encoder> makeBrotliEncoder(std::size_t bufferSize) {
    BrotliEncoderState* state = ::BrotliEncoderCreateInstance(nullptr, nullptr, nullptr);
    if (!state)
        return nullptr;
    ::BrotliEncoderSetParameter(state, BROTLI_PARAM_QUALITY, quality);
    ::BrotliEncoderSetParameter(state, BROTLI_PARAM_MODE, BROTLI_MODE_TEXT);
    return std::make_unique<BrotliEncoder>(state, bufferSize);
}

} // namespace platform
