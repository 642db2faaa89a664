// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// One of this folder's kernels as a comparison with other devices wants it: frame after frame over
// memory that is the same on all of them, and commands one line each, answered in JSON.
#pragma once

#include "bench/Arguments.h"
#include "compute/host/HostBackend.h"
#include "compute/memory/RegionAllocator.h"
#include "platform/base/Result.h"

#include <span>
#include <string>
#include <vector>

namespace bench {

/// Width and height of a kernel's grid, a height of 1 where its position has one component:
/// 960 x 540 for pictures, else 768,000 threads where the name ends in "synth" and 4096 otherwise.
compute::Extent gridOf(const compute::kernel::KernelDeclaration& declaration);

class Harness {
public:
    /// Compiles the kernel `name` of this folder and draws frame 0. The processes' warm-up comes
    /// before and does not count.
    static platform::Result<Harness> create(const std::string& name,
                                            const compute::host::HostBackend& backend);

    /// Draws the next frames and returns the milliseconds of each. The time repeats after a quarter
    /// of a second, sixteen frames, so that fewer frames are no other ones.
    std::vector<double> draw(unsigned frames);
    /// From the text to the end of frame 0.
    double firstMilliseconds() const { return m_firstMilliseconds; }
    /// The newest frame, or what the threads wrote.
    std::span<const std::byte> result() const;

    /// Obeys "frames N", "dump FILE" and "quit" from the standard input.
    void serve();
    /// Draws frames and prints their times, all in one line.
    void print(unsigned frames);

private:
    Harness() = default;

    std::string m_name;
    std::shared_ptr<compute::Kernel> m_kernel;
    compute::Extent m_grid;
    compute::memory::RegionVector<std::byte> m_memory;
    compute::memory::RegionVector<Frame> m_frame = compute::memory::RegionVector<Frame>(1);
    std::size_t m_resultBegin = 0;
    std::size_t m_resultBytes = 0;
    std::uint32_t m_drawn = 0;
    double m_firstMilliseconds = 0;
};

} // namespace bench
