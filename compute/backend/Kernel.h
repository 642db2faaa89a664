// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A compiled kernel, as the compute service runs it on whatever device made it: the one interface
// that every back end implements.
#pragma once

#include "compute/backend/SamplerRecord.h"
#include "compute/backend/SourceLocations.h"
#include "compute/backend/TextureView.h"
#include "compute/types/Extent.h"
#include "compute/types/Fingerprint.h"
#include "compute/types/Parameter.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace compute {

/// Everything that a kernel's parameters can be bound to; null where nothing is bound.
struct Bindings {
    std::array<std::byte*, maxBuffers> buffers{};
    std::array<const TextureView*, maxTextures> textures{};
    std::array<const SamplerRecord*, maxSamplers> samplers{};
    /// Bytes of each threadgroup argument; those of all together must fit (maxGroupBytes).
    std::array<std::uint32_t, maxThreadgroupMemories> threadgroupBytes{};
};

/// What is known of a compiled kernel.
struct KernelDescription {
    std::string name; ///< as the program spells it
    /// In the order of the declaration, with what the code does with each.
    std::vector<Parameter> parameters;
    /// Of the machine code: equal for two kernels only if that is the same.
    Fingerprint fingerprint;
    /// Its threads work together, in threadgroups of at most maxThreadsOfGroup.
    bool worksInGroups = false;
    double optimiserMilliseconds = 0;
    double codeGenerationMilliseconds = 0;
};

/// Immutable once made; may run on several threads at once.
class Kernel {
public:
    explicit Kernel(KernelDescription description) : m_description(std::move(description)) {}
    virtual ~Kernel() = default;
    Kernel(const Kernel&) = delete;
    Kernel& operator=(const Kernel&) = delete;

    const KernelDescription& description() const { return m_description; }
    /// Which lines of the program its code came from; null when nobody knows. Lives as long as
    /// this.
    virtual const SourceLocations* locations() const { return nullptr; }

    /// Runs the kernel once per thread of `grid` and returns when all are done. Every binding that
    /// the description names must be there.
    void run(const Bindings& bindings, Extent grid, Extent threadsPerThreadgroup) const {
        run(bindings, grid, threadsPerThreadgroup, 0, grid.width);
    }
    /// The same for those threads only whose x is at least `begin` and less than `end`.
    virtual void run(const Bindings& bindings, Extent grid, Extent threadsPerThreadgroup,
                     std::uint32_t begin, std::uint32_t end) const = 0;

private:
    const KernelDescription m_description;
};

} // namespace compute
