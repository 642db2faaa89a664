// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// SHA-256 (FIPS 180-4): what stands for bytes where somebody may want to pass off others as the
// same. For mere damage there is platform/base/Fnv.h.
#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string>

namespace platform {

class Sha256 {
public:
    Sha256();

    /// Adds the number of the bytes and these, so that it matters where one piece ends and the next
    /// begins.
    void addPiece(std::span<const std::byte> bytes);
    void add(std::span<const std::byte> bytes);
    /// 64 hexadecimal digits. Nothing may be added after it.
    std::string finish();

private:
    std::unique_ptr<void, void (*)(void*)> m_state;
};

} // namespace platform
