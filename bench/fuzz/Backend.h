// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What compiles and runs the kernel of a program, whichever back end that is.
#pragma once

#include "compute/backend/Kernel.h"
#include "compute/kernel/Program.h"
#include "platform/base/Result.h"

#include <cstddef>
#include <map>
#include <memory>
#include <span>

namespace fuzz {

/// Memory of one run, which the kernel reads and writes.
struct Workspace {
    std::map<std::uint32_t, std::span<std::byte>> buffers; ///< by index
    compute::TextureView texture;                          ///< at index 0; it has one level
    std::span<std::byte> texels;
};

class Backend {
public:
    virtual ~Backend() = default;

    virtual platform::Result<std::shared_ptr<compute::Kernel>>
    build(const compute::kernel::Program& program) const = 0;
    /// To the end.
    virtual platform::Result<void> run(const compute::Kernel& kernel, const Workspace& workspace,
                                       compute::Extent grid, compute::Extent group) const = 0;
};

/// The number that stands for a graphics device instead of SIMD lanes.
inline constexpr unsigned onVulkan = 0;

/// The processor with this many SIMD lanes, or one thread at a time for 1; or Mesa's software
/// driver (onVulkan). To be called once in a process. Stops the program when the environment asks
/// for something meaningless, or there is no such device.
std::shared_ptr<const Backend> makeBackend(unsigned width);

} // namespace fuzz
