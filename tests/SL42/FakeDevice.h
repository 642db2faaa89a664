// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A device that runs nothing but remembers what it was told to do, for tests of the console's own
// logic. Kernels are found by their text, `kernel void NAME(`; a text with "#error" does not
// compile.
#pragma once

#include "gpu/Device.h"

#include <cstring>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace fake {

/// A kernel with what was bound to it.
struct Dispatch {
    std::string kernel;
    gpu::Range part;
    gpu::FunctionConstantValues constants;
    std::map<std::uint32_t, std::shared_ptr<gpu::Buffer>> buffers;
    std::map<std::uint32_t, std::vector<std::byte>> bytes;
    std::map<std::uint32_t, std::shared_ptr<gpu::Texture>> textures;
    gpu::Extent threads;
    gpu::Extent group;
};

/// Shared with every pipeline made from it, so that a test can stop them.
struct Kernel {
    std::string name;
    gpu::FunctionConstantValues constants;
    gpu::Fingerprint fingerprint{};
    std::vector<gpu::Argument> arguments{{"memory"}};
    bool stopped = false;
};

class Device;

class CommandBuffer final : public gpu::CommandBuffer {
public:
    explicit CommandBuffer(Device& device) : m_device(device) {}

    void setLabel(std::string label) override { m_label = std::move(label); }
    const std::string& label() const override { return m_label; }
    std::shared_ptr<gpu::ComputeCommandEncoder> makeComputeCommandEncoder() override;
    std::shared_ptr<gpu::BlitCommandEncoder> makeBlitCommandEncoder() override;
    void present(std::shared_ptr<gpu::Drawable> shown) override { drawable = std::move(shown); }
    void setTimeLimit(std::chrono::milliseconds limit) override { timeLimit = limit; }
    void setNeeds(const std::shared_ptr<gpu::CommandBuffer>& earlier) override { needs = earlier; }
    void addCompletedHandler(std::function<void(gpu::CommandBuffer&)> handler) override {
        m_handlers.push_back(std::move(handler));
    }
    void commit() override;
    void waitUntilCompleted() override;
    gpu::CommandBufferStatus status() const override { return m_status; }
    std::optional<gpu::CommandBufferError> error() const override { return m_error; }
    double milliseconds() const override;

    void complete(std::optional<gpu::CommandBufferError> error);

    /// In order.
    std::vector<Dispatch> dispatches;
    std::shared_ptr<gpu::Drawable> drawable;
    std::chrono::milliseconds timeLimit{0};
    std::shared_ptr<gpu::CommandBuffer> needs;

private:
    Device& m_device;
    std::string m_label;
    gpu::CommandBufferStatus m_status = gpu::CommandBufferStatus::NotCommitted;
    std::optional<gpu::CommandBufferError> m_error;
    std::vector<std::function<void(gpu::CommandBuffer&)>> m_handlers;
};

class Device final : public gpu::Device {
public:
    std::string name() const override { return "fake"; }
    std::shared_ptr<gpu::CommandQueue> makeCommandQueue() override;
    std::shared_ptr<gpu::Buffer> makeBuffer(std::size_t length, gpu::StorageMode mode) override;
    std::shared_ptr<gpu::Texture> makeTexture(const gpu::TextureDescriptor& descriptor) override;
    std::shared_ptr<gpu::Texture> makeTexture(const gpu::TextureDescriptor& descriptor,
                                              std::shared_ptr<platform::SharedMemory> memory,
                                              std::size_t offset, std::size_t bytesPerRow) override;
    std::shared_ptr<gpu::Texture> makeTexture(const gpu::TextureDescriptor& descriptor,
                                              const std::shared_ptr<gpu::Buffer>& buffer,
                                              std::size_t offset, std::size_t bytesPerRow) override;
    gpu::Pending makeLibrary(std::string source, gpu::Made<gpu::Library> made) override;
    gpu::Pending makeComputePipelineState(const std::shared_ptr<gpu::Function>& function,
                                          gpu::Made<gpu::ComputePipelineState> made) override;
    void setTimeLimit(std::chrono::milliseconds) override {}
    void endLongRunning(std::chrono::milliseconds) override { ++endedLongRunning; }

    void replaceWorker() override;

    /// Answers what was asked of the compiler, in order, up to so many questions.
    void answer(std::size_t count = 1000);

    /// Completes the oldest committed command buffer; false when there is none.
    bool completeNext(std::optional<gpu::CommandBufferError> error = std::nullopt);

    /// Whether commands complete at their commit, or only when completeNext() is called.
    bool completesAtOnce = true;
    /// Whether the compiler answers at once, or only when answer() is called.
    bool answersAtOnce = true;
    /// What was asked of the compiler and is not answered; those that nobody waits for are gone.
    std::deque<std::weak_ptr<std::function<void()>>> questions;
    /// How often running work was ended.
    int endedLongRunning = 0;
    int replacedWorkers = 0;
    /// Mends brokenKernels when that many workers have been replaced.
    int goodWorker = 1000;
    bool refusesCommandBuffers = false;
    /// Buffers that can still be made.
    std::size_t buffersLeft = 1000;
    /// Names of kernels whose pipelines cannot be made.
    std::set<std::string> brokenKernels;
    /// Overwrites audio memory when the kernel "audio" is dispatched.
    float audioValue = 0;
    /// Of the pipelines made from now on.
    gpu::Fingerprint fingerprint{};
    /// What a command buffer takes.
    double milliseconds = 0;

    /// The texts passed to makeLibrary.
    std::vector<std::string> sources;
    /// All pipelines made, in order.
    std::vector<std::shared_ptr<Kernel>> kernels;
    /// All command buffers made, in order.
    std::vector<std::shared_ptr<CommandBuffer>> commandBuffers;
    std::deque<std::shared_ptr<CommandBuffer>> pending;

private:
    gpu::Pending ask(std::function<void()> question);

    /// Compilers are called from any thread.
    std::mutex m_compiling;
};

/// A value bound with setBytes.
template <class T>
T boundValue(const Dispatch& dispatch, std::uint32_t index) {
    T value{};
    const auto& bytes = dispatch.bytes.at(index);
    if (bytes.size() == sizeof value)
        std::memcpy(&value, bytes.data(), sizeof value);
    return value;
}

} // namespace fake
