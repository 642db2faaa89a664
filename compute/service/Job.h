// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A command buffer whose ids have been replaced by what they stand for, ready to be executed.
#pragma once

#include "compute/service/CompilePool.h"
#include "compute/service/Resources.h"

namespace compute::service {

/// Bytes of a buffer; holds on to the buffer.
struct MemoryRange {
    std::shared_ptr<GuardedMemory> memory;
    std::size_t offset = 0;
    std::size_t length = 0;

    std::span<std::byte> bytes() const { return {memory->data() + offset, length}; }
};

struct DispatchWork {
    std::shared_ptr<const Kernel> kernel;
    protocol::Dispatch dispatch;
    std::vector<std::shared_ptr<GuardedMemory>> buffers; ///< in the order of dispatch.buffers
    std::vector<std::shared_ptr<Texture>> textures;      ///< in the order of dispatch.textures
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
    /// Set instead of any work when the command buffer cannot be carried out.
    std::string error;
};

/// Fails when an id is not known, an index is too high or a range leaves its buffer.
platform::Result<Job> resolve(protocol::RunCommands message, const Resources& resources,
                              const Pipelines& pipelines);

} // namespace compute::service
