// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/service/KernelCompiler.h"

#include "compute/host/HostKernel.h"
#include "compute/kernel/pipeline/ExtractKernel.h"
#include "compute/metal/Frontend.h"

#include <cstdio>
#include <cstdlib>

namespace compute::service {

using platform::Result;

namespace {

protocol::ParameterKind wireKind(kernel::ParameterKind kind) {
    switch (kind) {
    case kernel::ParameterKind::Buffer:
        return protocol::ParameterKind::Buffer;
    case kernel::ParameterKind::Texture:
        return protocol::ParameterKind::Texture;
    case kernel::ParameterKind::Sampler:
        return protocol::ParameterKind::Sampler;
    case kernel::ParameterKind::ThreadPositionInGrid:
    case kernel::ParameterKind::ThreadsPerGrid:
    case kernel::ParameterKind::ThreadPositionInThreadgroup:
    case kernel::ParameterKind::ThreadgroupPositionInGrid:
    case kernel::ParameterKind::ThreadsPerThreadgroup:
    case kernel::ParameterKind::ThreadgroupsPerGrid:
    case kernel::ParameterKind::ThreadIndexInThreadgroup:
        break;
    }
    return protocol::ParameterKind::BuiltIn;
}

protocol::Parameters wireParameters(const std::vector<kernel::Parameter>& parameters) {
    protocol::Parameters wire;
    for (const kernel::Parameter& parameter : parameters)
        wire.push_back({parameter.name, wireKind(parameter.kind), parameter.index,
                        static_cast<protocol::Access>(parameter.access)});
    return wire;
}

// The numbers of the two enumerations are the same by declaration.
kernel::ConstantValues constantValues(const protocol::Constants& constants) {
    kernel::ConstantValues values;
    for (const protocol::Constant& constant : constants)
        values[constant.index] = {static_cast<kernel::ConstantType>(constant.type), constant.bytes};
    return values;
}
static_assert(static_cast<int>(kernel::ConstantType::Float) ==
              static_cast<int>(protocol::ConstantType::Float));

static_assert(static_cast<int>(kernel::Access::ReadWrite) ==
              static_cast<int>(protocol::Access::ReadWrite));

class CompiledKernel final : public Kernel {
public:
    explicit CompiledKernel(std::shared_ptr<host::HostKernel> kernel)
        : m_kernel(std::move(kernel)) {}

    protocol::Parameters parameters() const override {
        return wireParameters(m_kernel->parameters());
    }
    double optimiserMilliseconds() const override { return m_kernel->optimiserMilliseconds(); }
    double codeGenerationMilliseconds() const override {
        return m_kernel->codeGenerationMilliseconds();
    }
    protocol::Fingerprint fingerprint() const override {
        const auto [low, high] = m_kernel->fingerprint();
        return {low, high};
    }
    const host::SourceLocations* places() const override { return &m_kernel->places(); }
    void run(const Bindings& bindings, protocol::Extent threads,
             protocol::Extent threadsPerThreadgroup, std::uint32_t begin,
             std::uint32_t end) const override {
        const auto extent = [](protocol::Extent wire) {
            return host::Extent{wire.width, wire.height, wire.depth};
        };
        m_kernel->run({bindings.buffers, bindings.textures}, extent(threads),
                      extent(threadsPerThreadgroup), begin, end);
    }

private:
    std::shared_ptr<host::HostKernel> m_kernel;
};

class CompiledLibrary final : public Library {
public:
    CompiledLibrary(kernel::Program program, std::shared_ptr<const kernel::Dump> dump)
        : m_program(std::move(program)), m_dump(std::move(dump)) {}

    std::vector<protocol::Kernel> kernels() const override {
        std::vector<protocol::Kernel> wire;
        wire.reserve(m_program.kernels.size());
        for (const kernel::KernelDeclaration& declaration : m_program.kernels)
            wire.push_back({declaration.name, wireParameters(declaration.parameters),
                            declaration.unsupported});
        return wire;
    }
    const std::string& warnings() const override { return m_program.warnings; }

    protocol::ConstantDeclarations constants() const override {
        protocol::ConstantDeclarations wire;
        for (const kernel::ConstantDeclaration& constant : m_program.constants)
            wire.push_back({constant.name, constant.index,
                            static_cast<protocol::ConstantType>(constant.type)});
        return wire;
    }
    Result<std::shared_ptr<const Kernel>> build(std::string_view function,
                                                const protocol::Constants& constants,
                                                const std::stop_token& stop) const override {
        auto canonical = SL42_TRY(kernel::canonicalise(
            m_program, function, constantValues(constants), m_dump.get(), stop));
        auto machineCode = SL42_TRY(host::generate(std::move(canonical), m_dump.get()));
        return std::shared_ptr<const Kernel>(
            std::make_shared<CompiledKernel>(std::move(machineCode)));
    }

private:
    kernel::Program m_program;
    std::shared_ptr<const kernel::Dump> m_dump;
};

} // namespace

void KernelCompiler::openFiles() {
    const char* folder = std::getenv("SL42_DUMP");
    if (folder == nullptr || *folder == '\0')
        return;
    auto dump = kernel::Dump::create(folder);
    if (dump)
        m_dump = std::make_shared<const kernel::Dump>(std::move(*dump));
    else
        std::fprintf(stderr, "SL42_DUMP: %s\n", dump.error().message.c_str());
}

void KernelCompiler::warmUp() {
    metal::warmUp();
    host::warmUp();
}

std::size_t KernelCompiler::stackBytes() const {
    return metal::neededStackBytes();
}

int KernelCompiler::dumpFolder() const {
    return m_dump ? m_dump->folder() : -1;
}

Result<std::shared_ptr<const Library>> KernelCompiler::compile(std::string_view source,
                                                               const std::stop_token& stop) {
    if (m_dump)
        m_dump->write("program", 0, "source", "metal", source);
    auto program = SL42_TRY(metal::compileOnThisThread(source, stop));
    kernel::keepBitcode(program); // kernels are built by several threads
    return std::shared_ptr<const Library>(
        std::make_shared<CompiledLibrary>(std::move(program), m_dump));
}

} // namespace compute::service
