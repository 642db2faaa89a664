// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "bench/mutants/Trial.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <regex>
#include <utility>

namespace mutants {
namespace {

using Code = gpu::CommandBufferError::Code;

constexpr gpu::Extent frame{64, 36, 1};
constexpr gpu::Extent group{8, 4, 1};
constexpr std::chrono::milliseconds frameLimit(200);
constexpr std::size_t machineMemory = std::size_t{64} << 20;
constexpr std::size_t otherMemory = std::size_t{8} << 20;
/// How often the correct program is compiled anew.
constexpr std::size_t compilesBetween = 20;

constexpr const char* referenceText =
    "#include <metal_stdlib>\n"
    "using namespace metal;\n"
    "kernel void reference(device float4* out [[buffer(0)]],\n"
    "                      uint2 at [[thread_position_in_grid]],\n"
    "                      uint2 size [[threads_per_grid]]) {\n"
    "    float2 p = float2(at) / float2(size);\n"
    "    float value = 0;\n"
    "    for (int i = 1; i < 8; ++i)\n"
    "        value += sin(p.x * i + p.y * 3) / i;\n"
    "    out[at.x + at.y * size.x] = float4(p, value, fract(value * 9));\n"
    "}\n";

/// A value for each constant that the text declares.
gpu::FunctionConstantValues constantsOf(const std::string& text) {
    static const auto types = [] {
        std::map<std::string, gpu::DataType> all;
        for (int i = 0; i <= static_cast<int>(gpu::DataType::Float4); ++i)
            all.emplace(nameOf(static_cast<gpu::DataType>(i)), static_cast<gpu::DataType>(i));
        return all;
    }();
    static const std::regex declaration(
        R"((\w+)\s+\w+\s*\[\[\s*function_constant\(\s*(\d{1,5})\s*\)\s*\]\])");
    gpu::FunctionConstantValues constants;
    for (std::sregex_iterator found(text.begin(), text.end(), declaration), end; found != end;
         ++found) {
        const std::array<std::byte, 16> zero{};
        if (const auto type = types.find((*found)[1]); type != types.end())
            constants.setConstantValue(static_cast<std::uint32_t>(std::stoul((*found)[2])),
                                       type->second, zero.data());
    }
    return constants;
}

/// What ends a compilation although the compiler should have had a message of its own.
bool isBreakdown(const std::string& message) {
    return message.empty() || message.find("broke down") != message.npos ||
           message.find("compute service") != message.npos ||
           message.find("takes longer than") != message.npos ||
           message.find("makes no progress") != message.npos;
}

std::string firstLine(const std::string& text) {
    return text.substr(0, text.find('\n'));
}

const char* nameOf(Code code) {
    switch (code) {
    case Code::TimeLimit:
        return "ran too long";
    case Code::KernelFault:
        return "faulted";
    case Code::PipelineStopped:
        return "stopped before";
    case Code::ServiceLost:
        return "service lost";
    case Code::InvalidCommand:
        return "argument missing";
    case Code::Ended:
        return "ended";
    case Code::NotCarriedOut:
        return "not carried out";
    }
    return "no such error";
}

} // namespace

std::optional<Trial> Trial::create() {
    Trial trial;
    trial.m_device = gpu::Device::systemDefault();
    if (!trial.m_device)
        return std::nullopt;
    trial.m_queue = trial.m_device->makeCommandQueue();
    trial.m_texture = trial.m_device->makeTexture({});
    trial.m_picture = trial.m_device->makeBuffer(std::size_t{16} * frame.width * frame.height,
                                                 gpu::StorageMode::Shared);
    trial.m_device->setTimeLimit(frameLimit);
    if (!trial.m_queue || !trial.m_texture || !trial.m_picture || !trial.makeReference()) {
        std::fputs("The device does not do what it should\n", stderr);
        return std::nullopt;
    }
    return trial;
}

bool Trial::makeReference() {
    const auto library = gpu::waitForLibrary(*m_device, referenceText);
    const auto function = library ? (*library)->makeFunction("reference")
                                  : gpu::Result<std::shared_ptr<gpu::Function>>(library.error());
    const auto pipeline =
        function ? gpu::waitForPipeline(*m_device, *function)
                 : gpu::Result<std::shared_ptr<gpu::ComputePipelineState>>(function.error());
    if (!pipeline)
        return false;
    m_reference = *pipeline;
    if (draw(m_reference)->status() != gpu::CommandBufferStatus::Completed)
        return false;
    const auto drawn = m_picture->contents();
    m_expected.assign(drawn.begin(), drawn.end());
    return std::ranges::any_of(m_expected, [](std::byte byte) { return byte != std::byte{0}; });
}

std::shared_ptr<gpu::CommandBuffer>
Trial::draw(const std::shared_ptr<gpu::ComputePipelineState>& pipeline) {
    std::ranges::fill(m_picture->contents(), std::byte{0});
    auto commands = m_queue->makeCommandBuffer();
    commands->setLabel("Reference");
    const auto encoder = commands->makeComputeCommandEncoder();
    encoder->setComputePipelineState(pipeline);
    encoder->setBuffer(m_picture, 0, 0);
    encoder->dispatchThreads(frame, group);
    encoder->endEncoding();
    commands->commit();
    commands->waitUntilCompleted();
    return commands;
}

gpu::Awaited<gpu::Library> Trial::start(std::string text) {
    return gpu::startLibrary(*m_device, std::move(text));
}

std::string Trial::run(const std::string& text, gpu::Awaited<gpu::Library> program) {
    ++m_counts.programs;
    const auto library = program.get();
    std::string faults;
    if (library) {
        ++m_counts.compiled;
        faults = runKernels(text, **library);
    } else if (isBreakdown(library.error().message)) {
        faults = "compiler: " + firstLine(library.error().message) + "\n";
    }
    faults += checkReference();
    if (m_counts.programs % compilesBetween == 0)
        faults += checkNewReference();
    return faults;
}

std::string Trial::runKernels(const std::string& text, gpu::Library& library) {
    std::string faults;
    const auto constants = constantsOf(text);
    std::vector<std::shared_ptr<gpu::Function>> functions;
    std::vector<gpu::Awaited<gpu::ComputePipelineState>> pipelines;
    for (const std::string& name : library.functionNames()) {
        const auto function = library.makeFunction(name, constants);
        if (!function) {
            ++m_counts.refusedKernels;
            continue;
        }
        functions.push_back(*function);
        pipelines.push_back(gpu::startPipeline(*m_device, *function));
    }
    for (std::size_t i = 0; i < functions.size(); ++i) {
        const auto pipeline = pipelines[i].get();
        if (pipeline) {
            faults += runKernel(*pipeline, functions[i]->arguments());
            continue;
        }
        ++m_counts.refusedKernels;
        if (isBreakdown(pipeline.error().message))
            faults += "kernel " + functions[i]->name() + ": " +
                      firstLine(pipeline.error().message) + "\n";
    }
    return faults;
}

std::string Trial::runKernel(const std::shared_ptr<gpu::ComputePipelineState>& pipeline,
                             const std::vector<gpu::Argument>& arguments) {
    const auto commands = m_queue->makeCommandBuffer();
    commands->setLabel("Mutant");
    const auto encoder = commands->makeComputeCommandEncoder();
    encoder->setComputePipelineState(pipeline);
    for (const gpu::Argument& argument : arguments) {
        if (argument.kind == gpu::ParameterKind::Texture)
            encoder->setTexture(m_texture, argument.index);
        if (argument.kind != gpu::ParameterKind::Buffer)
            continue;
        auto& buffer = m_buffers[argument.index];
        if (!buffer)
            buffer = m_device->makeBuffer(argument.index == 0 ? machineMemory : otherMemory,
                                          gpu::StorageMode::Shared);
        encoder->setBuffer(buffer, 0, argument.index);
    }
    encoder->dispatchThreads(frame, group);
    encoder->endEncoding();
    commands->commit();
    commands->waitUntilCompleted();
    ++m_counts.kernels;
    if (commands->status() == gpu::CommandBufferStatus::Completed) {
        ++m_counts.completed;
        return {};
    }
    const auto error = commands->error();
    if (!error || error->message.empty() || error->message.find('\n') != std::string::npos)
        return "kernel " + pipeline->functionName() + ": failed without one clear line\n";
    ++m_counts.errors[nameOf(error->code)];
    const bool isOrdinary = error->code == Code::TimeLimit || error->code == Code::KernelFault ||
                            error->code == Code::InvalidCommand;
    return isOrdinary ? std::string() : "kernel: " + error->message + "\n";
}

std::string Trial::checkReference() {
    const auto commands = draw(m_reference);
    if (const auto error = commands->error())
        return "correct program: " + error->message + "\n";
    const auto drawn = m_picture->contents();
    return std::ranges::equal(drawn, m_expected) ? "" : "correct program: draws another picture\n";
}

std::string Trial::checkNewReference() {
    const std::string text =
        referenceText + ("// " + std::to_string(m_counts.programs) + "\n"); // in no cache
    const auto library = gpu::waitForLibrary(*m_device, text);
    if (!library)
        return "correct program: " + firstLine(library.error().message) + "\n";
    const auto pipeline = gpu::waitForPipeline(*m_device, *(*library)->makeFunction("reference"));
    if (!pipeline)
        return "correct program: " + firstLine(pipeline.error().message) + "\n";
    m_reference = *pipeline;
    return checkReference();
}

} // namespace mutants
