// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/service/KernelCompiler.h"

#include "compute/kernel/pipeline/ExtractKernel.h"
#include "compute/metal/Frontend.h"
#include "compute/spirv/ShaderBackend.h"

#include <llvm/Support/xxhash.h>

#include <cstdio>
#include <functional>
#include <unistd.h>

namespace compute::service {

using platform::Result;

namespace {

/// Why a kernel cannot run, as the compiler would say it; empty when it can.
std::string reasonAgainst(const kernel::KernelDeclaration& declaration) {
    if (declaration.unsupportedAt.empty())
        return declaration.unsupported;
    return declaration.unsupportedAt + ": error: " + declaration.unsupported;
}

class CompiledLibrary final : public Library {
public:
    CompiledLibrary(kernel::Program program, BuildKernel build)
        : m_program(std::move(program)), m_build(std::move(build)) {}

    std::vector<protocol::Kernel> kernels() const override {
        std::vector<protocol::Kernel> wire;
        wire.reserve(m_program.kernels.size());
        for (const kernel::KernelDeclaration& declaration : m_program.kernels)
            wire.push_back(
                {declaration.name, onTheWire(declaration.parameters), reasonAgainst(declaration)});
        return wire;
    }
    const std::string& warnings() const override { return m_program.warnings; }

    protocol::ConstantDeclarations constants() const override {
        protocol::ConstantDeclarations wire;
        for (const kernel::ConstantDeclaration& constant : m_program.constants)
            wire.push_back({constant.name, constant.index, constant.type, constant.isOptional});
        return wire;
    }
    Result<std::shared_ptr<const Kernel>> build(std::string_view function,
                                                const ConstantValues& constants,
                                                const std::stop_token& stop,
                                                std::shared_ptr<KeptCode> kept) const override {
        return std::shared_ptr<const Kernel>(
            SL42_TRY(m_build(m_program, function, constants, stop, std::move(kept))));
    }

private:
    kernel::Program m_program;
    BuildKernel m_build;
};

Fingerprint fingerprintOf(const spirv::Shader& shader) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(shader.words.data());
    const llvm::XXH128_hash_t hash =
        llvm::xxh3_128bits({bytes, shader.words.size() * sizeof shader.words[0]});
    return {hash.low64, hash.high64};
}

Result<std::shared_ptr<Kernel>>
buildShader(vulkan::VulkanDevice& device, const kernel::Program& program, std::string_view function,
            const ConstantValues& constants, const kernel::CompilerOptions& options,
            const kernel::Dump* dump, const std::stop_token& stop, std::shared_ptr<KeptCode> kept) {
    auto translated = SL42_TRY(spirv::translate(
        program, function, constants, device.logical().physical().features, options, dump, stop));
    KernelDescription description{.name = std::string(function),
                                  .parameters = std::move(translated.parameters),
                                  .fingerprint = fingerprintOf(translated.shader),
                                  .worksInGroups = translated.shader.runsInGroups,
                                  .optimiserMilliseconds = translated.optimiserMilliseconds,
                                  .codeGenerationMilliseconds = translated.translationMilliseconds};
    return device.makeKernel(std::move(description), translated.shader, std::move(kept));
}

/// Of the validation layer: whoever asked for it wants to know of the first one.
[[noreturn]] void endWith(const char* message) {
    std::fprintf(stderr, "%s\n", message);
    ::_exit(1);
}

} // namespace

Result<void> KernelCompiler::openDevice(std::string_view name) {
    m_device = SL42_TRY(vulkan::VulkanDevice::create(name, vulkan::optionsOfEnvironment(endWith)));
    return {};
}

void KernelCompiler::openFiles() {
    if (auto opened = m_backend->openDump(); !opened)
        std::fprintf(stderr, "SL42_DUMP: %s\n", opened.error().message.c_str());
}

void KernelCompiler::warmUp() {
    metal::warmUp();
    m_backend->warmUp();
}

std::size_t KernelCompiler::stackBytes() const {
    return metal::neededStackBytes();
}

int KernelCompiler::dumpFolder() const {
    return m_backend->dump() != nullptr ? m_backend->dump()->folder() : -1;
}

BuildKernel KernelCompiler::build() const {
    if (!m_device)
        return [backend = m_backend](const auto& program, auto function, const auto& constants,
                                     const auto& stop, const auto&) {
            return backend->build(program, function, constants, backend->dump(), stop);
        };
    return [backend = m_backend, device = m_device,
            options = m_options](const auto& program, auto function, const auto& constants,
                                 const auto& stop, auto kept) {
        return buildShader(*device, program, function, constants, options, backend->dump(), stop,
                           std::move(kept));
    };
}

Result<std::shared_ptr<const Library>> KernelCompiler::compile(std::string_view source,
                                                               const std::stop_token& stop) {
    if (const kernel::Dump* dump = m_backend->dump())
        dump->write("program", 0, "source", "metal", source);
    auto program = SL42_TRY(metal::compileOnThisThread(source, stop));
    kernel::keepBitcode(program); // kernels are built by several threads
    return std::shared_ptr<const Library>(
        std::make_shared<CompiledLibrary>(std::move(program), build()));
}

} // namespace compute::service
