// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Recorded work for the device: command buffers and the encoders that fill them.
#pragma once

#include "gpu/Buffer.h"
#include "gpu/Library.h"
#include "gpu/Texture.h"
#include "gpu/Types.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace gpu {

/// A resource that stands in an argument buffer, `offset` bytes from its start. There, a pointer
/// and a texture take 8 bytes, a sampler takes 24, all at multiples of 8.
struct ArgumentValue {
    struct Place {
        std::shared_ptr<Buffer> buffer;
        std::size_t offset = 0;
    };
    std::size_t offset = 0;
    std::variant<Place, std::shared_ptr<Texture>, Sampler> resource;
};

/// Encodes kernels. One encoder is open at a time; endEncoding() must come before the next one is
/// made or the buffer is committed. Bindings last until the end of the encoder.
class ComputeCommandEncoder {
public:
    virtual ~ComputeCommandEncoder() = default;

    virtual void setLabel(std::string_view label) = 0;
    virtual void setComputePipelineState(std::shared_ptr<ComputePipelineState> pipeline) = 0;
    virtual void setBuffer(std::shared_ptr<Buffer> buffer, std::size_t offset,
                           std::uint32_t index) = 0;
    /// Binds buffers, all at offset 0, at consecutive indices from `firstIndex`.
    virtual void setBuffers(std::span<const std::shared_ptr<Buffer>> buffers,
                            std::uint32_t firstIndex) = 0;
    /// Binds a copy of at most 4096 bytes as a buffer.
    virtual void setBytes(std::span<const std::byte> bytes, std::uint32_t index) = 0;
    /// Of an array of textures, some may be left out: they are null textures to the kernel.
    virtual void setTexture(std::shared_ptr<Texture> texture, std::uint32_t index) = 0;
    virtual void setSampler(const Sampler& sampler, std::uint32_t index) = 0;
    /// Binds a copy of at most 4096 bytes as a buffer in which resources stand: an argument buffer.
    virtual void setArguments(std::span<const std::byte> bytes,
                              std::span<const ArgumentValue> resources, std::uint32_t index) = 0;
    /// Gives each threadgroup that many bytes for its argument `index`: at most 32768 for all
    /// arguments together, each rounded up to a multiple of 16. They are zero when it begins.
    virtual void setThreadgroupMemoryLength(std::size_t length, std::uint32_t index) = 0;
    /// Runs the kernel once per thread of `threads`; threads outside whole groups are not run.
    virtual void dispatchThreads(Extent threads, Extent threadsPerThreadgroup) = 0;
    /// Runs only those threads of the grid whose x lies in `part`, which begins and ends between
    /// threadgroups or at the end of the grid. The kernel sees the whole grid. Long work that is
    /// divided so lets other command buffers in between.
    virtual void dispatchPart(Extent threads, Extent threadsPerThreadgroup, Range part) = 0;
    virtual void endEncoding() = 0;
};

/// Encodes copies and fills.
class BlitCommandEncoder {
public:
    virtual ~BlitCommandEncoder() = default;

    virtual void setLabel(std::string_view label) = 0;
    virtual void fill(std::shared_ptr<Buffer> buffer, Range range, std::uint8_t value) = 0;
    virtual void copy(std::shared_ptr<Buffer> source, std::size_t sourceOffset,
                      std::shared_ptr<Buffer> destination, std::size_t destinationOffset,
                      std::size_t length) = 0;
    /// Computes every level after the first from the level before it, 2 x 2 box filter.
    virtual void generateMipmaps(std::shared_ptr<Texture> texture) = 0;
    virtual void endEncoding() = 0;
};

/// Something to be shown when a command buffer has completed.
class Drawable {
public:
    virtual ~Drawable() = default;
    virtual std::shared_ptr<Texture> texture() = 0;
    /// Called once on the device's callback thread.
    virtual void present() = 0;
};

enum class CommandBufferStatus : std::uint8_t { NotCommitted, Committed, Completed, Error };

/// Why a command buffer did not complete.
struct CommandBufferError {
    enum class Code : std::uint8_t {
        TimeLimit,       ///< a kernel had more processor time than the limit, or stood still twice
        KernelFault,     ///< a kernel touched memory that it was not given, or overran its stack
        PipelineStopped, ///< it uses a pipeline that was stopped for one of the reasons above
        ServiceLost,     ///< the compute service ended for a reason outside the kernel
        InvalidCommand,  ///< an argument is missing or does not fit
        Ended,           ///< ended by Device::endLongRunning(); nobody is to blame
        NotCarriedOut,   ///< the command buffer that it needs has failed
    };
    Code code = Code::InvalidCommand;
    /// One line that names the command buffer and the kernel.
    std::string message;
    /// Name of the kernel at fault, when there is one.
    std::string kernel;
    /// Where in the program's text it happened: the line itself, then those of the calls that led
    /// there. Lines count from 1; empty when it is not known.
    std::vector<std::uint32_t> lines = {}; // NOLINT(readability-redundant-member-init)
    /// What happened there, to stand behind a line: "wrote outside of memory".
    std::string what = {}; // NOLINT(readability-redundant-member-init)
};

/// Made by CommandQueue::makeCommandBuffer; filled from one thread, then committed once. A
/// command buffer with an error has done some prefix of its work.
class CommandBuffer {
public:
    virtual ~CommandBuffer() = default;

    virtual void setLabel(std::string label) = 0;
    virtual const std::string& label() const = 0;
    /// Null while another encoder is open or after commit().
    virtual std::shared_ptr<ComputeCommandEncoder> makeComputeCommandEncoder() = 0;
    virtual std::shared_ptr<BlitCommandEncoder> makeBlitCommandEncoder() = 0;
    /// Shows the drawable once the work is done, unless it failed.
    virtual void present(std::shared_ptr<Drawable> drawable) = 0;
    /// Lets this one have so much processor time when the device's limit is shorter. For work that
    /// is known to take long; must be set before commit().
    virtual void setTimeLimit(std::chrono::milliseconds limit) = 0;

    /// This one is not carried out unless `earlier`, which was committed before on the same queue,
    /// completes without an error; it then ends with NotCarriedOut. Must be set before commit().
    virtual void setNeeds(const std::shared_ptr<CommandBuffer>& earlier) = 0;

    /// Runs on the device's callback thread, in the order of adding, after the status is final.
    /// Must be added before commit().
    virtual void addCompletedHandler(std::function<void(CommandBuffer&)> handler) = 0;
    virtual void commit() = 0;
    /// Returns when the status is final and all handlers have run. Not from a handler.
    virtual void waitUntilCompleted() = 0;

    virtual CommandBufferStatus status() const = 0;
    /// Set when status() is Error.
    virtual std::optional<CommandBufferError> error() const = 0;
    /// Milliseconds that the device spent on it; zero until it has completed.
    virtual double milliseconds() const = 0;
};

/// Runs its command buffers one after the other, in the order of their commits.
class CommandQueue {
public:
    virtual ~CommandQueue() = default;
    /// Null when the device cannot take more work.
    virtual std::shared_ptr<CommandBuffer> makeCommandBuffer() = 0;
};

} // namespace gpu
