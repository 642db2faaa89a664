// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/protocol/Codec.h"

namespace compute::protocol {

void Encoder::putRaw(const void* data, std::size_t size) {
    const auto* bytes = static_cast<const std::byte*>(data);
    m_out.insert(m_out.end(), bytes, bytes + size);
}

bool Decoder::getRaw(void* data, std::size_t size) {
    if (size > m_in.size()) {
        m_in = {};
        return false;
    }
    if (size > 0)
        std::memcpy(data, m_in.data(), size);
    m_in = m_in.subspan(size);
    return true;
}

bool Decoder::getBool(bool& value) {
    std::uint8_t byte = 0;
    if (!getRaw(&byte, 1) || byte > 1)
        return false;
    value = byte == 1;
    return true;
}

} // namespace compute::protocol
