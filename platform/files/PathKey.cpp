// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/files/PathKey.h"

#include <array>
#include <cstdint>
#include <cstdio>

namespace platform {

// FNV-1a (Fowler, Noll, Vo), 64 bits.
std::string keyOf(const std::filesystem::path& file) {
    namespace fs = std::filesystem;
    std::error_code failed;
    const fs::path whole = fs::weakly_canonical(fs::absolute(file, failed), failed);
    std::uint64_t hash = 0xcbf29ce484222325;
    for (const char byte : (failed ? file : whole).native())
        hash = (hash ^ static_cast<unsigned char>(byte)) * 0x100000001b3;
    std::array<char, 17> digits{};
    std::snprintf(digits.data(), digits.size(), "%016llx", static_cast<unsigned long long>(hash));
    return digits.data();
}

} // namespace platform
