// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What kernels run on: the processor or a graphics device. It knows the memory that kernels use,
// and carries out the dispatches of a command buffer.
#pragma once

#include "compute/backend/TextureView.h"
#include "compute/memory/GuardedMemory.h"
#include "platform/base/Result.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

namespace compute {

using Memory = std::shared_ptr<memory::GuardedMemory>;

/// Foreign code that a device runs on.
enum class Driver : std::uint8_t {
    None,
    Graphics, ///< of a graphics device
    Software, ///< makes machine code for the processor
};

/// Command buffers are carried out one after the other by one thread: begin(), then runs of
/// kernels, then finish(). What others may call says so.
class Device {
public:
    virtual ~Device() = default;

    /// For people.
    virtual std::string name() const = 0;
    virtual Driver driver() const { return Driver::None; }

    /// The same memory, which kernels can be given as long as somebody holds what this returns. Any
    /// thread.
    virtual platform::Result<Memory> adopt(Memory memory) = 0;
    /// The address by which kernels know a place in memory that was adopted. Any thread.
    virtual std::uint64_t addressOf(const std::byte* place) const = 0;

    /// Kernels may reach `used` by pointers that they find in memory, until finish() returns.
    virtual void begin(std::span<const Memory> used) = 0;
    /// The kernels that run next belong to this command of the command buffer.
    virtual void enter(std::uint32_t command) = 0;
    /// Returns when all kernels are done that have been run since begin() or the last finish().
    /// What they wrote can then be read, and what is written then, they read. The error says in one
    /// line why they are not; then the state of what they write is unknown.
    virtual platform::Result<void> finish() = 0;

    /// The command that is being carried out, where that is not the one that was entered last. Any
    /// thread.
    virtual std::optional<std::uint32_t> commandAtWork() const { return std::nullopt; }
    /// An error of finish() after which nothing more will ever be carried out.
    virtual bool isLost() const { return false; }
};

/// The view with the addresses by which kernels of the device know the texels.
TextureView viewFor(const Device& device, TextureView view);

/// The processor: each kernel has run when its run() returns, and addresses are what they are.
class HostDevice final : public Device {
public:
    std::string name() const override;
    platform::Result<Memory> adopt(Memory memory) override { return memory; }
    std::uint64_t addressOf(const std::byte* place) const override {
        return reinterpret_cast<std::uint64_t>(place);
    }
    void begin(std::span<const Memory>) override {}
    void enter(std::uint32_t) override {}
    platform::Result<void> finish() override { return {}; }
};

} // namespace compute
