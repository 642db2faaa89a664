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
#include <limits>
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

/// Where in the work of a device something stands.
struct WorkPlace {
    std::uint64_t commandBuffer = 0;
    std::uint32_t command = 0;
};

/// Says how far a device is to have come; the later, the larger.
using Ticket = std::uint64_t;
/// For all that has been handed over.
inline constexpr Ticket everything = std::numeric_limits<Ticket>::max();

/// Command buffers are carried out one after the other. One thread hands them over: begin(), then
/// runs of kernels, fills and copies, then submit(). What others may call says so.
class Device {
public:
    virtual ~Device() = default;

    /// For people.
    virtual std::string name() const = 0;
    virtual Driver driver() const { return Driver::None; }
    /// Tells apart drivers that cannot use what the other one has made of a kernel. Empty where
    /// nothing is worth keeping.
    virtual std::string driverKey() const { return {}; }

    /// The same memory, which kernels can be given as long as somebody holds what this returns. Any
    /// thread.
    virtual platform::Result<Memory> adopt(Memory memory) = 0;
    /// The same for memory that only kernels, fill() and copy() reach from now on. The device may
    /// keep it elsewhere and write it back now and then; it begins with what the memory holds. Any
    /// thread.
    virtual platform::Result<Memory> adoptPrivate(Memory memory) {
        return adopt(std::move(memory));
    }
    /// The same for memory that tells kernels something: what they write there nobody reads. Any
    /// thread.
    virtual platform::Result<Memory> adoptInput(Memory memory) { return adopt(std::move(memory)); }
    /// The address by which kernels know a place in memory that was adopted. Any thread.
    virtual std::uint64_t addressOf(const std::byte* place) const = 0;

    /// What comes next belongs to the command buffer of this number, the kernels of which may reach
    /// `used` by pointers that they find in memory. What has not been submitted is dropped.
    virtual void begin(std::uint64_t commandBuffer, std::span<const Memory> used) = 0;
    /// What comes next belongs to this command of the command buffer.
    virtual void enter(std::uint32_t command) = 0;
    /// Fills memory that was adopted, in its turn. False where the processor must, once all that
    /// comes before is done.
    virtual bool fill(std::span<std::byte>, std::uint8_t) { return false; }
    /// The same for a copy; the two may overlap.
    virtual bool copy(std::span<const std::byte>, std::span<std::byte>) { return false; }
    /// Has all that was handed over since begin() or the last submit() carried out, without waiting
    /// for it. The ticket stands for that and all before. The error says in one line why some of it
    /// never will be; then the state of what it writes is unknown.
    virtual platform::Result<Ticket> submit() = 0;
    /// Returns when all that the ticket stands for is done. What kernels wrote can then be read,
    /// and what is written then, later ones read. The error says why it is not done. Any thread.
    virtual platform::Result<void> wait(Ticket ticket) = 0;
    /// Whether writeBack() has something to do that nobody has been told of. Any thread.
    virtual bool isWriteBackDue() { return false; }
    /// Takes its time to write back private memory. Returns when none is left that the device is
    /// done with. Any thread.
    virtual void writeBack() {}
    /// Waits for all that was handed over and writes back all private memory. Any thread, once
    /// nothing more will be handed over.
    virtual void writeAllBack() {}
    /// Whether something is ever left to wait for.
    virtual bool worksAhead() const { return false; }

    /// What is being carried out, where that is not what was entered last. Any thread, and signal
    /// handlers.
    virtual std::optional<WorkPlace> placeAtWork() const { return std::nullopt; }
    /// An error of wait() or submit() after which nothing more will ever be carried out. Any
    /// thread.
    virtual bool isLost() const { return false; }
};

/// The view with the addresses by which kernels of the device know the texels.
TextureView viewFor(const Device& device, TextureView view);

/// The processor: each kernel has run when its run() returns, and addresses are what they are.
class HostDevice : public Device {
public:
    std::string name() const override;
    platform::Result<Memory> adopt(Memory memory) override { return memory; }
    std::uint64_t addressOf(const std::byte* place) const override {
        return reinterpret_cast<std::uint64_t>(place);
    }
    void begin(std::uint64_t, std::span<const Memory>) override {}
    void enter(std::uint32_t) override {}
    platform::Result<Ticket> submit() override { return Ticket{0}; }
    platform::Result<void> wait(Ticket) override { return {}; }
};

} // namespace compute
