// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// One program of the corpus: its text, what its buffers and textures hold, which kernels run in
// which order. Compiled once and run at several SIMD widths, each time on fresh copies.
#pragma once

#include "compute/backend/Kernel.h"
#include "compute/backend/SamplerRecord.h"
#include "compute/memory/RegionAllocator.h"
#include "compute/metal/Frontend.h"
#include "compute/types/ConstantValue.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace corpus {

using Bytes = std::vector<std::byte>;

struct Image {
    std::string kind; ///< "1d", "2d", "2d_array", "3d", "cube", "depth2d", "buffer"
    compute::PixelFormat format = compute::PixelFormat::RGBA8Unorm;
    compute::Extent size;
    std::uint32_t levels = 1;
    Bytes pixels; ///< level after level, slice after slice, rows without gaps
};

/// A member of an argument buffer: a pointer to a buffer, or bytes as they lie there.
struct Member {
    std::optional<std::uint32_t> buffer;
    Bytes bytes;
};

struct Dispatch {
    std::string kernel; ///< empty: the first one of the text
    compute::Extent grid;
    compute::Extent group;
};

struct Job {
    std::string file;
    compute::ConstantValues constants;
    std::map<std::uint32_t, Bytes> buffers;
    std::map<std::uint32_t, Image> images;
    std::vector<Dispatch> dispatches;
    std::map<std::uint32_t, compute::SamplerRecord> samplers;
    std::map<std::uint32_t, std::vector<Member>> argumentBuffers;
};

/// What the buffers and textures hold when all kernels have run.
struct Outcome {
    std::map<std::uint32_t, Bytes> buffers;
    std::map<std::uint32_t, Bytes> images;
};

class Session {
public:
    /// Compiles the text. An error is the compiler's own.
    static platform::Result<Session> create(Job job);

    /// Nothing stays from one run to the next.
    platform::Result<Outcome> run(unsigned width) const;

private:
    Session(Job job, compute::kernel::Program program)
        : m_job(std::move(job)), m_program(std::move(program)) {}

    Job m_job;
    compute::kernel::Program m_program;
};

} // namespace corpus
