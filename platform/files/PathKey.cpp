// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "platform/files/PathKey.h"

#include "platform/base/Fnv.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <span>

namespace platform {

std::string keyOf(const std::filesystem::path& file) {
    namespace fs = std::filesystem;
    std::error_code failed;
    const fs::path whole = fs::weakly_canonical(fs::absolute(file, failed), failed);
    const std::uint64_t hash = fnv1a64(std::as_bytes(std::span((failed ? file : whole).native())));
    std::array<char, 17> digits{};
    std::snprintf(digits.data(), digits.size(), "%016llx", static_cast<unsigned long long>(hash));
    return digits.data();
}

} // namespace platform
