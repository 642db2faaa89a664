// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Memory for whatever a kernel declares, so that any kernel can be measured. All of it lies in the
// region of addresses that kernels may use.
#pragma once

#include "bench/BenchKernel.h"
#include "compute/backend/Kernel.h"
#include "compute/memory/RegionAllocator.h"

#include <cstdint>
#include <map>
#include <span>
#include <vector>

namespace bench {

/// 32-bit words with which the buffer of an index begins.
using Words = std::map<std::uint32_t, std::vector<std::uint32_t>>;

class Arguments {
public:
    /// Buffers are full of zeros behind their words; textures and samplers are left out.
    Arguments(std::span<const compute::Parameter> parameters, const Words& words);

    /// For a frame, which the buffer at index 1 holds unless words were given for it.
    const compute::Bindings& forFrame(const Frame& frame);

private:
    std::map<std::uint32_t, compute::memory::RegionVector<std::byte>> m_buffers;
    bool m_takesFrame;
    compute::Bindings m_bindings;
};

} // namespace bench
