// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/digest/Sha256.h"

#include "platform/base/Fatal.h"

extern "C" {
#include <libavutil/mem.h>
#include <libavutil/sha.h>
}

#include <array>
#include <cstdint>

namespace platform {

namespace {

AVSHA* state(const std::unique_ptr<void, void (*)(void*)>& memory) {
    return static_cast<AVSHA*>(memory.get());
}

} // namespace

Sha256::Sha256() : m_state(av_sha_alloc(), av_free) {
    constexpr int bits = 256;
    if (!m_state || av_sha_init(state(m_state), bits) != 0)
        fatalError("Out of memory");
}

void Sha256::addPiece(std::span<const std::byte> bytes) {
    const std::uint64_t count = bytes.size();
    add(std::as_bytes(std::span(&count, 1)));
    add(bytes);
}

void Sha256::add(std::span<const std::byte> bytes) {
    av_sha_update(state(m_state), reinterpret_cast<const std::uint8_t*>(bytes.data()),
                  bytes.size());
}

std::string Sha256::finish() {
    constexpr std::size_t digestBytes = 32;
    std::array<std::uint8_t, digestBytes> digest{};
    av_sha_final(state(m_state), digest.data());
    std::string text;
    for (const std::uint8_t byte : digest) {
        constexpr const char* digits = "0123456789abcdef";
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text;
}

} // namespace platform
