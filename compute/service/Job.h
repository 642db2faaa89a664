// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A command buffer whose ids have been replaced by what they stand for, ready to be executed. One
// Job is filled again and again: a frame like the one before needs no memory.
#pragma once

#include "compute/service/CompilePool.h"
#include "compute/service/Resources.h"

namespace compute::service {

/// Bytes of a buffer; holds on to the buffer.
struct MemoryRange {
    std::shared_ptr<memory::GuardedMemory> memory;
    std::size_t offset = 0;
    std::size_t length = 0;

    std::span<std::byte> bytes() const { return {memory->data() + offset, length}; }
};

struct DispatchWork {
    std::shared_ptr<const Kernel> kernel;
    Extent threads;
    Extent threadsPerThreadgroup;
    std::uint32_t begin = 0; ///< along x
    std::uint32_t end = 0;
    Bindings bindings; ///< all but those by value
    /// Its part of Job::inlineBindings.
    std::size_t firstInline = 0;
    std::size_t endOfInline = 0;
};

struct FillWork {
    MemoryRange range;
    std::uint8_t value = 0;
};

struct CopyWork {
    MemoryRange source;
    MemoryRange destination;
};

struct MipmapWork {
    std::shared_ptr<Texture> texture;
};

using Work = std::variant<DispatchWork, FillWork, CopyWork, MipmapWork>;

struct Job {
    protocol::JobId id;
    std::vector<Work> work;
    std::vector<protocol::InlineBinding> inlineBindings;
    decltype(protocol::RunCommands::bytes) bytes; ///< what they are parts of
    /// Buffers and textures, kept alive for the dispatches.
    std::vector<std::shared_ptr<const void>> used;
    /// Set instead of any work when the command buffer cannot be carried out.
    std::string error;

    /// Lets go of everything but the memory of the lists.
    void clear();
};

/// Fills `job`, which is clear, and exchanges the bytes of the two. Sets its error when an id is
/// not known, an index is too high, or a range leaves its buffer.
void resolve(protocol::RunCommands& message, const Resources& resources, const Pipelines& pipelines,
             Job& job);

} // namespace compute::service
