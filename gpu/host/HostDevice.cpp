// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "gpu/host/HostDevice.h"

#include "compute/protocol/Codec.h"
#include "gpu/host/HostBuffer.h"
#include "gpu/host/HostCommandBuffer.h"
#include "gpu/host/HostLibrary.h"
#include "gpu/host/HostTexture.h"
#include "gpu/host/ServiceClient.h"

namespace gpu::host {

namespace protocol = compute::protocol;

namespace {

// An evening of live coding goes through thousands of texts; undo and redo go back over a few.
constexpr std::size_t maxCachedPrograms = 16;
constexpr std::size_t maxCachedPipelines = 64;

std::vector<std::byte> bytesOf(const protocol::Constants& constants) {
    std::vector<std::byte> bytes;
    protocol::Encoder(bytes).put(constants);
    return bytes;
}

} // namespace

std::shared_ptr<HostDevice> HostDevice::create() {
    return create(ServiceProcess::findExecutable());
}

std::shared_ptr<HostDevice> HostDevice::create(const std::string& serviceExecutable) {
    return std::shared_ptr<HostDevice>(new HostDevice(ServiceClient::start(serviceExecutable)));
}

HostDevice::HostDevice(std::shared_ptr<ServiceClient> client)
    : m_client(std::move(client)), m_programs(maxCachedPrograms), m_pipelines(maxCachedPipelines) {}

HostDevice::~HostDevice() {
    m_client->stop();
}

std::string HostDevice::name() const {
    return "Host processor, " + std::to_string(std::thread::hardware_concurrency()) + " cores";
}

std::shared_ptr<CommandQueue> HostDevice::makeCommandQueue() {
    return std::make_shared<HostCommandQueue>(m_client);
}

std::shared_ptr<Buffer> HostDevice::makeBuffer(std::size_t length, StorageMode mode) {
    return HostBuffer::create(m_client, length, mode);
}

std::shared_ptr<Texture> HostDevice::makeTexture(const TextureDescriptor& descriptor) {
    return HostTexture::create(m_client, descriptor);
}

std::shared_ptr<Texture> HostDevice::makeTexture(const TextureDescriptor& descriptor,
                                                 std::shared_ptr<platform::SharedMemory> memory,
                                                 std::size_t offset, std::size_t bytesPerRow) {
    return HostTexture::create(m_client, descriptor, std::move(memory), offset, bytesPerRow);
}

Result<std::shared_ptr<Library>> HostDevice::makeLibrary(std::string_view source) {
    if (source.size() > protocol::maxSourceBytes)
        return Error{"program_source: error: the program is longer than 16 MB\n"};
    auto found = m_programs.find(std::string(source), [](const auto&) { return true; });
    if (found.promise) {
        auto program = std::make_shared<Program>(m_client, std::string(source));
        const auto compiled = m_client->compile(program);
        found.promise->set_value(compiled ? Result<std::shared_ptr<Program>>(program)
                                          : compiled.error());
    }
    auto program = SL42_TRY(found.future.get());
    const CompileTimes times = found.promise ? program->times : CompileTimes{};
    return std::shared_ptr<Library>(std::make_shared<HostLibrary>(std::move(program), times));
}

std::future<Result<std::shared_ptr<ComputePipelineState>>>
HostDevice::makeComputePipelineStateAsync(const std::shared_ptr<Function>& function) {
    const auto ours = std::dynamic_pointer_cast<HostFunction>(function);
    if (!ours)
        return std::async(std::launch::deferred, [] {
            return Result<std::shared_ptr<ComputePipelineState>>(
                Error{"The function belongs to another device"});
        });
    auto found = m_pipelines.find(
        PipelineKey{ours->program(), ours->name(), bytesOf(ours->constants())},
        [](const std::shared_ptr<Pipeline>& pipeline) { return !pipeline->stopped; });
    if (found.promise)
        build(std::make_shared<Pipeline>(ours->program(), ours->name(), ours->constants()),
              found.promise);
    const std::string& label = ours->label().empty() ? ours->name() : ours->label();
    // Deferred: whoever asks for the result wraps it, no thread is started for that.
    return std::async(std::launch::deferred,
                      [future = std::move(found.future), made = found.promise != nullptr,
                       label]() -> Result<std::shared_ptr<ComputePipelineState>> {
                          auto pipeline = SL42_TRY(future.get());
                          const CompileTimes times = made ? pipeline->times : CompileTimes{};
                          return std::shared_ptr<ComputePipelineState>(
                              std::make_shared<HostPipelineState>(pipeline, label, times));
                      });
}

void HostDevice::build(const std::shared_ptr<Pipeline>& pipeline,
                       const std::shared_ptr<PipelineCache::Promise>& promise) {
    m_client->build(pipeline, [pipeline, promise](const Result<void>& built) {
        promise->set_value(built ? Result<std::shared_ptr<Pipeline>>(pipeline) : built.error());
    });
}

void HostDevice::setTimeLimit(std::chrono::milliseconds limit) {
    m_client->setTimeLimit(limit);
}

void HostDevice::endLongRunning(std::chrono::milliseconds) {}

} // namespace gpu::host
