// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What a device made of one kernel, kept by somebody else from one start to the next.
#pragma once

#include "compute/types/Fingerprint.h"

#include <cstddef>
#include <span>
#include <vector>

namespace compute {

/// One thread at a time.
class KeptCode {
public:
    virtual ~KeptCode() = default;

    /// What was kept of this shader: whole, but nobody vouches for it. Empty when there is nothing.
    virtual std::vector<std::byte> load(const Fingerprint& shader) const = 0;
    /// Replaces it. What is too large is not kept.
    virtual void store(const Fingerprint& shader, std::span<const std::byte> code) = 0;
};

} // namespace compute
