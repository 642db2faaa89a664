// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// The entry to the compute interface: a device makes everything else. Two kinds exist, the host's
// processor, and more are to come; the console cannot tell which one it has.
#pragma once

#include "gpu/Buffer.h"
#include "gpu/CommandBuffer.h"
#include "gpu/Library.h"
#include "gpu/Texture.h"
#include "gpu/Types.h"
#include "platform/base/SharedMemory.h"

#include <chrono>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace gpu {

/// Work that was asked for; null when there is nothing to wait for. Ends with its last copy.
using Pending = std::shared_ptr<void>;
/// Gets what was asked for.
template <class T>
using Made = std::function<void(Result<std::shared_ptr<T>>)>;

/// What a device's work runs on, as it is known at the moment.
struct DeviceState {
    std::string choice; ///< as use() was told
    /// For people; the choice itself while isKnown is false, as long as a driver starts.
    std::string name;
    bool isKnown = true;
    bool isProcessor = true; ///< chosen, or because nothing else started
    /// One line if the processor took over from what somebody had named, which says why.
    std::string failure;
};

/// What programs could run on, in words.
struct DeviceDescription {
    std::string choice; ///< for SL42_DEVICE
    std::string name;
    std::string kind;
    std::string driver;   ///< empty for the processor
    std::string limits;   ///< empty for the processor
    std::string unusable; ///< why programs cannot run on it; empty when they can
};

class Device {
public:
    virtual ~Device() = default;

    /// The device that the user chose with SL42_DEVICE: "host", the processor; "auto", the best
    /// graphics device or else the processor; "vulkan", the best one that has a Vulkan driver, also
    /// one that is software; "vulkan:" and part of a name. Null, with one line on standard error,
    /// when that means nothing. Without that variable, the one that `remembered` means, or else the
    /// processor. A device that does not start is reported on standard error, too, and the
    /// processor is used.
    static std::shared_ptr<Device> systemDefault(std::string_view remembered = {});
    /// Whether systemDefault() understands it.
    static bool isChoice(std::string_view choice);
    /// The processor and what has a Vulkan driver. Drivers are loaded by a process of their own;
    /// waits for it, some seconds at most. Any thread.
    static std::vector<DeviceDescription> list();

    /// For people, in one line: how well programs are locked in on this machine, by trying to break
    /// out. Takes some ten milliseconds; any thread.
    static std::string describeSandbox();

    /// For people: what the work runs on.
    virtual std::string name() const = 0;
    /// Any thread.
    virtual DeviceState state() const {
        DeviceState state;
        state.choice = "host";
        state.name = name();
        return state;
    }
    /// From now on the work is done where `choice` says, as systemDefault() understands it. Buffers
    /// and textures keep what is in them, pipelines are made again before they are next run. What
    /// is being done is done before that if it takes less than a second, and once more if not.
    /// Returns at once. Does nothing on a device that can do only one thing. Any thread.
    virtual void use(std::string_view choice) { static_cast<void>(choice); }

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

    /// The same over a part of a buffer, which kernels then reach in both ways; for texture buffers
    /// above all. Null for private storage.
    virtual std::shared_ptr<Texture> makeTexture(const TextureDescriptor& descriptor,
                                                 const std::shared_ptr<Buffer>& buffer,
                                                 std::size_t offset, std::size_t bytesPerRow) = 0;

    /// Starts compiling program text. `made` gets the library or the compiler's own message. Texts
    /// are cached by content: the second library of one text costs nothing.
    ///
    /// This and makeComputePipelineState() do not block and may be called on any thread. `made` is
    /// called once: before they return when the answer is known, else on the device's callback
    /// thread. Whoever lets go of what they return is not told any more, unless that is happening
    /// at this moment; what nobody waits for is not begun, or given up.
    [[nodiscard]] virtual Pending makeLibrary(std::string source, Made<Library> made) = 0;
    /// Before makeLibrary() is called with it: the text is the console's own, and not a program's.
    /// What a device keeps of a program on disk it keeps only if no other program was about; this
    /// one does not count. Any thread.
    virtual void vouchFor(std::string_view source) { static_cast<void>(source); }
    /// Starts making machine code for a function, cached by library, name and constants. Several
    /// are made at the same time.
    [[nodiscard]] virtual Pending
    makeComputePipelineState(const std::shared_ptr<Function>& function,
                             Made<ComputePipelineState> made) = 0;

    /// What is known to be right was refused, or came out wrong: whoever carries out the work is
    /// replaced by somebody fresh, and nothing that it made is used again. All else goes on. Does
    /// nothing on a device that cannot do so. Any thread.
    virtual void replaceWorker() {}

    /// How much processor time one command buffer may have, on the core that works longest for it,
    /// unless it sets a longer limit; 2 s from the start.
    virtual void setTimeLimit(std::chrono::milliseconds limit) = 0;
    /// Ends the command buffer that is running, with the error Ended, now or once it has had
    /// `limit` of processor time: what was going to be drawn has become pointless. No kernel is
    /// blamed, and those behind it are carried out. Does not block; any thread.
    virtual void endLongRunning(std::chrono::milliseconds limit) = 0;
};

} // namespace gpu
