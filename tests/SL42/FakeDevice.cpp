// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "tests/SL42/FakeDevice.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace fake {
namespace {

class Buffer final : public gpu::Buffer {
public:
    Buffer(std::size_t length, gpu::StorageMode mode)
        : m_length(length), m_mode(mode), m_bytes(mode == gpu::StorageMode::Shared ? length : 0) {}
    std::size_t length() const override { return m_length; }
    gpu::StorageMode storageMode() const override { return m_mode; }
    std::span<std::byte> contents() override { return m_bytes; }

private:
    std::size_t m_length;
    gpu::StorageMode m_mode;
    std::vector<std::byte> m_bytes;
};

class Texture final : public gpu::Texture {
public:
    explicit Texture(const gpu::TextureDescriptor& descriptor) : m_descriptor(descriptor) {}
    const gpu::TextureDescriptor& descriptor() const override { return m_descriptor; }
    bool replaceSlice(std::uint32_t, std::uint32_t, std::span<const std::byte>,
                      std::size_t) override {
        return true;
    }
    bool getSlice(std::uint32_t, std::uint32_t, std::span<std::byte>, std::size_t) const override {
        return true;
    }
    gpu::TextureRows rows(std::uint32_t) const override { return {}; }

private:
    gpu::TextureDescriptor m_descriptor;
};

class Function final : public gpu::Function {
public:
    Function(std::string_view name, gpu::FunctionConstantValues values)
        : constants(std::move(values)), m_name(name) {}
    const std::string& name() const override { return m_name; }
    const std::vector<gpu::Argument>& arguments() const override { return m_arguments; }

    const gpu::FunctionConstantValues constants;

private:
    std::string m_name;
    std::vector<gpu::Argument> m_arguments;
};

class Library final : public gpu::Library {
public:
    explicit Library(std::string_view source) : m_source(source) {}
    const std::vector<std::string>& functionNames() const override { return m_names; }
    gpu::Result<std::shared_ptr<gpu::Function>>
    makeFunction(std::string_view name, const gpu::FunctionConstantValues& constants) override {
        if (m_source.find("kernel void " + std::string(name) + "(") == m_source.npos)
            return gpu::Error{"no such function"};
        return std::shared_ptr<gpu::Function>(std::make_shared<Function>(name, constants));
    }
    const std::string& warnings() const override { return m_warnings; }
    const gpu::CompileTimes& compileTimes() const override { return m_times; }

private:
    std::string m_source;
    std::vector<std::string> m_names;
    std::string m_warnings;
    gpu::CompileTimes m_times;
};

class Pipeline final : public gpu::ComputePipelineState {
public:
    explicit Pipeline(std::shared_ptr<Kernel> compiled) : kernel(std::move(compiled)) {}
    const std::string& functionName() const override { return kernel->name; }
    const std::string& label() const override { return kernel->name; }
    const gpu::CompileTimes& compileTimes() const override { return m_times; }
    bool isStopped() const override { return kernel->stopped; }
    gpu::Fingerprint fingerprint() const override { return kernel->fingerprint; }
    const std::vector<gpu::Argument>& arguments() const override { return kernel->arguments; }

    const std::shared_ptr<Kernel> kernel;

private:
    gpu::CompileTimes m_times;
};

class ComputeEncoder final : public gpu::ComputeCommandEncoder {
public:
    ComputeEncoder(CommandBuffer& owner, const Device& device) : m_owner(owner), m_device(device) {}

    void setLabel(std::string_view) override {}
    void setComputePipelineState(std::shared_ptr<gpu::ComputePipelineState> pipeline) override {
        const auto& kernel = static_cast<const Pipeline&>(*pipeline).kernel;
        m_state.kernel = kernel->name;
        m_state.constants = kernel->constants;
    }
    void setBuffer(std::shared_ptr<gpu::Buffer> buffer, std::size_t, std::uint32_t index) override {
        m_state.buffers[index] = std::move(buffer);
    }
    void setBuffers(std::span<const std::shared_ptr<gpu::Buffer>> buffers,
                    std::uint32_t firstIndex) override {
        for (const auto& buffer : buffers)
            setBuffer(buffer, 0, firstIndex++);
    }
    void setBytes(std::span<const std::byte> bytes, std::uint32_t index) override {
        m_state.bytes[index] = {bytes.begin(), bytes.end()};
    }
    void setTexture(std::shared_ptr<gpu::Texture> texture, std::uint32_t index) override {
        m_state.textures[index] = std::move(texture);
    }
    void setSampler(const gpu::Sampler&, std::uint32_t) override {}
    void setArguments(std::span<const std::byte> bytes, std::span<const gpu::ArgumentValue>,
                      std::uint32_t index) override {
        setBytes(bytes, index);
    }
    void setThreadgroupMemoryLength(std::size_t, std::uint32_t) override {}
    void dispatchThreads(gpu::Extent threads, gpu::Extent group) override {
        dispatchPart(threads, group, {.offset = 0, .length = threads.width});
    }
    void dispatchPart(gpu::Extent threads, gpu::Extent group, gpu::Range part) override {
        m_state.part = part;
        m_state.threads = threads;
        m_state.group = group;
        m_owner.dispatches.push_back(m_state);
        if (m_state.kernel == "audio")
            writeAudio();
    }
    void endEncoding() override {}

private:
    void writeAudio() {
        const auto [first, count] = m_state.part;
        const auto memory = m_state.buffers.at(7)->contents().subspan(8 * first, 8 * count);
        for (std::size_t at = 0; at < memory.size(); at += sizeof(float))
            std::memcpy(memory.data() + at, &m_device.audioValue, sizeof(float));
    }

    CommandBuffer& m_owner;
    const Device& m_device;
    Dispatch m_state;
};

class BlitEncoder final : public gpu::BlitCommandEncoder {
public:
    void setLabel(std::string_view) override {}
    void fill(std::shared_ptr<gpu::Buffer>, gpu::Range, std::uint8_t) override {}
    void copy(std::shared_ptr<gpu::Buffer> source, std::size_t sourceOffset,
              std::shared_ptr<gpu::Buffer> destination, std::size_t destinationOffset,
              std::size_t length) override {
        if (!source->contents().empty() && !destination->contents().empty())
            std::memmove(destination->contents().data() + destinationOffset,
                         source->contents().data() + sourceOffset, length);
    }
    void generateMipmaps(std::shared_ptr<gpu::Texture>) override {}
    void endEncoding() override {}
};

class CommandQueue final : public gpu::CommandQueue {
public:
    explicit CommandQueue(Device& device) : m_device(device) {}
    std::shared_ptr<gpu::CommandBuffer> makeCommandBuffer() override {
        if (m_device.refusesCommandBuffers)
            return nullptr;
        auto commandBuffer = std::make_shared<CommandBuffer>(m_device);
        m_device.commandBuffers.push_back(commandBuffer);
        return commandBuffer;
    }

private:
    Device& m_device;
};

} // namespace

std::shared_ptr<gpu::ComputeCommandEncoder> CommandBuffer::makeComputeCommandEncoder() {
    return std::make_shared<ComputeEncoder>(*this, m_device);
}

std::shared_ptr<gpu::BlitCommandEncoder> CommandBuffer::makeBlitCommandEncoder() {
    return std::make_shared<BlitEncoder>();
}

void CommandBuffer::commit() {
    m_status = gpu::CommandBufferStatus::Committed;
    const auto self = std::find_if(m_device.commandBuffers.begin(), m_device.commandBuffers.end(),
                                   [this](const auto& buffer) { return buffer.get() == this; });
    m_device.pending.push_back(*self);
    if (m_device.completesAtOnce)
        m_device.completeNext();
}

void CommandBuffer::waitUntilCompleted() {
    while (m_status == gpu::CommandBufferStatus::Committed)
        m_device.completeNext();
}

double CommandBuffer::milliseconds() const {
    return m_device.milliseconds;
}

void CommandBuffer::complete(std::optional<gpu::CommandBufferError> error) {
    m_error = std::move(error);
    m_status = m_error ? gpu::CommandBufferStatus::Error : gpu::CommandBufferStatus::Completed;
    for (const auto& handler : std::exchange(m_handlers, {}))
        handler(*this);
    if (const auto shown = std::exchange(drawable, nullptr); shown && !m_error)
        shown->present();
}

std::shared_ptr<gpu::CommandQueue> Device::makeCommandQueue() {
    return std::make_shared<CommandQueue>(*this);
}

std::shared_ptr<gpu::Buffer> Device::makeBuffer(std::size_t length, gpu::StorageMode mode) {
    if (buffersLeft == 0)
        return nullptr;
    --buffersLeft;
    return std::make_shared<Buffer>(length, mode);
}

std::shared_ptr<gpu::Texture> Device::makeTexture(const gpu::TextureDescriptor& descriptor) {
    return std::make_shared<Texture>(descriptor);
}

std::shared_ptr<gpu::Texture> Device::makeTexture(const gpu::TextureDescriptor& descriptor,
                                                  const std::shared_ptr<gpu::Buffer>&, std::size_t,
                                                  std::size_t) {
    return makeTexture(descriptor);
}

std::shared_ptr<gpu::Texture> Device::makeTexture(const gpu::TextureDescriptor& descriptor,
                                                  std::shared_ptr<platform::SharedMemory>,
                                                  std::size_t, std::size_t) {
    return makeTexture(descriptor);
}

gpu::Pending Device::ask(std::function<void()> question) {
    if (answersAtOnce) {
        question();
        return nullptr;
    }
    const auto kept = std::make_shared<std::function<void()>>(std::move(question));
    questions.push_back(kept);
    return kept;
}

void Device::replaceWorker() {
    if (++replacedWorkers == goodWorker)
        brokenKernels.clear();
}

void Device::answer(std::size_t count) {
    for (; count > 0 && !questions.empty(); --count) {
        const auto question = questions.front().lock();
        questions.pop_front();
        if (question)
            (*question)();
    }
}

gpu::Pending Device::makeLibrary(std::string source, gpu::Made<gpu::Library> made) {
    const std::lock_guard lock(m_compiling);
    sources.push_back(source);
    return ask([source = std::move(source), made = std::move(made)] {
        if (source.find("#error") != source.npos)
            made(gpu::Error{"program_source:672:1: error: so it says"});
        else
            made(std::shared_ptr<gpu::Library>(std::make_shared<Library>(source)));
    });
}

gpu::Pending Device::makeComputePipelineState(const std::shared_ptr<gpu::Function>& function,
                                              gpu::Made<gpu::ComputePipelineState> made) {
    const std::lock_guard lock(m_compiling);
    if (brokenKernels.contains(function->name()))
        return ask([name = function->name(), made = std::move(made)] {
            made(gpu::Error{"no pipeline for " + name});
        });
    const auto& constants = static_cast<const Function&>(*function).constants;
    kernels.push_back(std::make_shared<Kernel>(Kernel{function->name(), constants, fingerprint}));
    return ask([kernel = kernels.back(), made = std::move(made)] {
        made(std::shared_ptr<gpu::ComputePipelineState>(std::make_shared<Pipeline>(kernel)));
    });
}

bool Device::completeNext(std::optional<gpu::CommandBufferError> error) {
    if (pending.empty())
        return false;
    const auto next = pending.front();
    pending.pop_front();
    if (next->needs && next->needs->error())
        error = {.code = gpu::CommandBufferError::Code::NotCarriedOut,
                 .message = "not carried out",
                 .kernel = {}};
    next->complete(std::move(error));
    return true;
}

} // namespace fake
