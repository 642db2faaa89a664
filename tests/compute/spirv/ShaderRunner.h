// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Runs shaders on the first Vulkan device that the tests find, one at a time: all memory is one
// arena that both sides see. For tests of the back end alone. With SL42_VULKAN_DESCRIPTORS=0 all
// buffers go by address.
#pragma once

#include "compute/spirv/ShaderInterface.h"
#include "compute/types/Extent.h"
#include "platform/base/Result.h"

#include <array>
#include <cstddef>
#include <memory>
#include <span>
#include <vector>

namespace tests {

class ShaderRunner {
public:
    /// Memory that both sides see; valid until reset().
    struct Piece {
        std::span<std::byte> bytes;
        std::uint64_t address = 0;
        compute::spirv::BufferRecord record() const { return {address, bytes.size()}; }
    };

    struct Arguments {
        std::array<compute::spirv::BufferRecord, compute::spirv::bindingRecords> bindings{};
        std::vector<compute::spirv::BufferRecord> memory; ///< in any order
        std::array<std::uint32_t, compute::maxThreadgroupMemories> threadgroupBytes{};
    };

    static platform::Result<std::unique_ptr<ShaderRunner>> create();
    ~ShaderRunner();
    ShaderRunner(const ShaderRunner&) = delete;
    ShaderRunner& operator=(const ShaderRunner&) = delete;

    const compute::spirv::Features& features() const;
    /// Of the driver's subgroups, which have no other size.
    std::uint32_t subgroupThreads() const;
    /// Forgets all pieces.
    void reset();
    /// All zero, at a multiple of 256, with gapBytes behind it that belong to nobody.
    static constexpr std::size_t gapBytes = 256;
    Piece allocate(std::size_t bytes);
    /// Waits for the end.
    platform::Result<void> run(const compute::spirv::Shader& shader, Arguments arguments,
                               compute::Extent grid, compute::Extent group);

private:
    struct State;
    explicit ShaderRunner(std::unique_ptr<State> state);
    std::unique_ptr<State> m_state;
};

} // namespace tests
