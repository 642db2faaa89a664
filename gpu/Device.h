// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The entry to the compute interface: a device makes everything else. Two kinds exist, the host's
// processor and any Vulkan driver; the console cannot tell which one it has.
#pragma once

#include "gpu/Buffer.h"
#include "gpu/CommandBuffer.h"
#include "gpu/Library.h"
#include "gpu/Texture.h"
#include "gpu/Types.h"
#include "platform/base/SharedMemory.h"

#include <chrono>
#include <future>
#include <memory>
#include <span>
#include <string>
#include <string_view>

namespace gpu {

class Device {
public:
    virtual ~Device() = default;

    /// The device that the user chose with SL42_DEVICE (host or vulkan), or else the best one of
    /// this machine. Null, with one line on standard error, when it cannot be had.
    static std::shared_ptr<Device> systemDefault();

    /// For people: what the work runs on.
    virtual std::string name() const = 0;

    /// Null when it cannot be made.
    virtual std::shared_ptr<CommandQueue> makeCommandQueue() = 0;
    /// Zero-filled. Null when there is no memory for it or `length` is 0.
    virtual std::shared_ptr<Buffer> makeBuffer(std::size_t length, StorageMode mode) = 0;
    /// Zero-filled. Null when there is no memory for it or the descriptor makes no sense.
    virtual std::shared_ptr<Texture> makeTexture(const TextureDescriptor& descriptor) = 0;
    /// A texture of one level over memory that the caller owns and may write while nothing is in
    /// flight. Null when rows or size do not fit.
    virtual std::shared_ptr<Texture> makeTexture(const TextureDescriptor& descriptor,
                                                 std::shared_ptr<platform::SharedMemory> memory,
                                                 std::size_t offset, std::size_t bytesPerRow) = 0;

    /// Compiles program text. The error is the compiler's own message. Texts are cached by
    /// content: the second library of one text costs nothing. Blocks; any thread.
    virtual Result<std::shared_ptr<Library>> makeLibrary(std::string_view source) = 0;
    /// Starts making machine code for a function, cached by library, name and constants. Several
    /// are made at the same time. Does not block; any thread. Only the future's get() may be relied
    /// on, not that it can tell when it is ready. Whoever drops the future does not stop the work.
    virtual std::future<Result<std::shared_ptr<ComputePipelineState>>>
    makeComputePipelineStateAsync(const std::shared_ptr<Function>& function) = 0;
    /// The same, waited for.
    Result<std::shared_ptr<ComputePipelineState>>
    makeComputePipelineState(const std::shared_ptr<Function>& function) {
        return makeComputePipelineStateAsync(function).get();
    }

    /// How long one command buffer may run unless it sets a longer limit; 2 s from the start.
    virtual void setTimeLimit(std::chrono::milliseconds limit) = 0;
    /// Ends the command buffer that is running, with the error Ended, when it has had more than
    /// `limit` of processor time: what was going to be drawn has become pointless. No kernel is
    /// blamed. Does not block; any thread.
    virtual void endLongRunning(std::chrono::milliseconds limit) = 0;
};

} // namespace gpu
