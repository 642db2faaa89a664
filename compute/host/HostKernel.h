// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A kernel compiled to machine code of this processor, which can be run over a grid on all cores.
#pragma once

#include "compute/host/code/MachineCode.h"
#include "compute/host/locations/SourceLocations.h"
#include "compute/kernel/TextureView.h"
#include "compute/kernel/pipeline/Canonical.h"
#include "platform/base/Result.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace compute::host {

/// Everything that a kernel's parameters can be bound to; null where nothing is bound.
struct Bindings {
    std::array<std::byte*, 31> buffers{};
    std::array<const kernel::TextureView*, 31> textures{};
};

struct Extent {
    std::uint32_t width = 1;
    std::uint32_t height = 1;
    std::uint32_t depth = 1;
};

/// Immutable once made; may run on several threads at once.
class HostKernel {
public:
    virtual ~HostKernel() = default;

    virtual const std::string& name() const = 0;
    virtual const std::vector<kernel::Parameter>& parameters() const = 0;
    /// Of the machine code: equal for two kernels only if that is the same.
    virtual Fingerprint fingerprint() const = 0;
    virtual double optimiserMilliseconds() const = 0;
    virtual double codeGenerationMilliseconds() const = 0;
    /// Which lines its code came from. LiveRanges as long as this.
    virtual const SourceLocations& places() const = 0;
    /// Runs the kernel once per thread of `grid`, spread over all cores in tiles, and returns when
    /// all are done. Every binding that parameters() names must be there.
    void run(const Bindings& bindings, Extent grid, Extent threadsPerThreadgroup) const {
        run(bindings, grid, threadsPerThreadgroup, 0, grid.width);
    }
    /// The same for those threads only whose x is at least `begin` and less than `end`.
    virtual void run(const Bindings& bindings, Extent grid, Extent threadsPerThreadgroup,
                     std::uint32_t begin, std::uint32_t end) const = 0;
};

/// Generates machine code for this processor. Several threads may do so at the same time. The tile
/// function and its assembly go to `dump` unless that is null.
platform::Result<std::shared_ptr<HostKernel>> generate(kernel::CanonicalKernel kernel,
                                                       const kernel::Dump* dump = nullptr);

/// Starts the worker threads and initialises the code generator; called once before the service
/// locks itself down.
void warmUp();

} // namespace compute::host
