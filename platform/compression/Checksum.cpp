// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/compression/Checksum.h"

#include <zlib.h>

namespace platform {

std::uint32_t checksum(std::span<const std::byte> bytes, std::uint32_t before) {
    return static_cast<std::uint32_t>(
        ::crc32_z(before, reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()));
}

} // namespace platform
