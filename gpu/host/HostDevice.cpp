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

std::shared_ptr<HostDevice> HostDevice::create(const std::string& serviceExecutable,
                                               const std::string& device) {
    return std::shared_ptr<HostDevice>(
        new HostDevice(ServiceClient::start(serviceExecutable, device)));
}

HostDevice::HostDevice(std::shared_ptr<ServiceClient> client)
    : m_client(std::move(client)), m_programs(maxCachedPrograms), m_pipelines(maxCachedPipelines) {}

HostDevice::~HostDevice() {
    m_client->stop();
}

std::string HostDevice::processorName() {
    return "Host processor, " + std::to_string(std::thread::hardware_concurrency()) + " cores";
}

std::string HostDevice::name() const {
    return state().name;
}

DeviceState HostDevice::state() const {
    DeviceState state = m_client->deviceState();
    if (state.isProcessor)
        state.name = processorName();
    return state;
}

/// Another device may refuse what this one took, and the other way round.
void HostDevice::use(std::string_view choice) {
    m_pipelines.clear();
    m_client->useDevice(std::string(choice));
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

std::shared_ptr<Texture> HostDevice::makeTexture(const TextureDescriptor& descriptor,
                                                 const std::shared_ptr<Buffer>& buffer,
                                                 std::size_t offset, std::size_t bytesPerRow) {
    const auto ours = std::dynamic_pointer_cast<HostBuffer>(buffer);
    return ours && ours->storageMode() == StorageMode::Shared
               ? HostTexture::create(m_client, descriptor, ours->registration()->sharedMemory(),
                                     offset, bytesPerRow)
               : nullptr;
}

Pending HostDevice::makeLibrary(std::string source, Made<Library> made) {
    if (source.size() > protocol::maxSourceBytes) {
        made(Error{"program_source: error: the program is longer than 16 MB\n"});
        return nullptr;
    }
    const auto compile = [client = m_client, &source](ProgramCache::Done done) {
        const auto program = std::make_shared<Program>(client, source);
        return client->compile(
            program, [program, done = std::move(done)](const Result<void>& compiled) {
                done(compiled ? Result<std::shared_ptr<Program>>(program) : compiled.error());
            });
    };
    return m_programs.find(
        source, [](const auto&) { return true; }, compile,
        [made = std::move(made)](const Result<std::shared_ptr<Program>>& program, bool isNew) {
            if (!program)
                return made(program.error());
            const CompileTimes times = isNew ? (*program)->times : CompileTimes{};
            made(std::shared_ptr<Library>(std::make_shared<HostLibrary>(*program, times)));
        });
}

void HostDevice::vouchFor(std::string_view source) {
    m_client->vouchFor(source);
}

Pending HostDevice::makeComputePipelineState(const std::shared_ptr<Function>& function,
                                             Made<ComputePipelineState> made) {
    const auto ours = std::dynamic_pointer_cast<HostFunction>(function);
    if (!ours) {
        made(Error{"The function belongs to another device"});
        return nullptr;
    }
    const auto build = [client = m_client, ours](PipelineCache::Done done) {
        const auto pipeline =
            std::make_shared<Pipeline>(ours->program(), ours->name(), ours->constants());
        return client->build(
            pipeline, [pipeline, done = std::move(done)](const Result<void>& built) {
                done(built ? Result<std::shared_ptr<Pipeline>>(pipeline) : built.error());
            });
    };
    const std::string& label = ours->label().empty() ? ours->name() : ours->label();
    return m_pipelines.find(
        {ours->program(), ours->name(), bytesOf(ours->constants())},
        [](const std::shared_ptr<Pipeline>& pipeline) { return !pipeline->stopped; }, build,
        [made = std::move(made), label](const Result<std::shared_ptr<Pipeline>>& pipeline,
                                        bool isNew) {
            if (!pipeline)
                return made(pipeline.error());
            const CompileTimes times = isNew ? (*pipeline)->times : CompileTimes{};
            made(std::shared_ptr<ComputePipelineState>(
                std::make_shared<HostPipelineState>(*pipeline, label, times)));
        });
}

void HostDevice::replaceWorker() {
    m_programs.clear();
    m_pipelines.clear();
    m_client->replaceService();
}

void HostDevice::setTimeLimit(std::chrono::milliseconds limit) {
    m_client->setTimeLimit(limit);
}

void HostDevice::endLongRunning(std::chrono::milliseconds limit) {
    m_client->endLongRunning(limit);
}

void HostDevice::setCompileTimeLimit(std::chrono::milliseconds limit) {
    m_client->setCompileTimeLimit(limit);
}

void HostDevice::setProvingTime(std::chrono::milliseconds time) {
    m_client->setProvingTime(time);
}

} // namespace gpu::host
