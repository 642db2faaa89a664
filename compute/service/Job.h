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
    Memory memory;
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
    Bindings bindings; ///< all but those by value and the samplers
    /// Its part of Job::inlineBindings.
    std::size_t firstInline = 0;
    std::size_t endOfInline = 0;
    /// Its part of Job::insertions.
    std::size_t firstInsertion = 0;
    std::size_t endOfInsertions = 0;
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

/// Samplers, and what stands in argument buffers: bytes that the service writes among the arguments
/// by value, of which every dispatch has the same room.
struct Insertion {
    std::size_t place = 0;
    std::array<std::byte, sizeof(SamplerRecord)> bytes{};
    std::size_t length = 0;
};
/// The place of the first sampler; those of the buffers by value come before.
inline constexpr std::size_t placeOfSamplers = std::size_t{maxBuffers} * protocol::maxInlineBytes;
inline constexpr std::size_t argumentBytes = placeOfSamplers + maxSamplers * sizeof(SamplerRecord);

struct Job {
    protocol::JobId id;
    std::vector<Work> work;
    std::vector<protocol::InlineBinding> inlineBindings;
    std::vector<Insertion> insertions;
    decltype(protocol::RunCommands::bytes) bytes; ///< what they are parts of
    /// Of buffers and textures: what kernels may reach.
    std::vector<Memory> used;
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
