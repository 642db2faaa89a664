// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/service/KernelCompiler.h"

#include "compute/kernel/pipeline/ExtractKernel.h"
#include "compute/metal/Frontend.h"

#include <cstdio>

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
    CompiledLibrary(kernel::Program program, std::shared_ptr<const host::HostBackend> backend)
        : m_program(std::move(program)), m_backend(std::move(backend)) {}

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
                                                const std::stop_token& stop) const override {
        return std::shared_ptr<const Kernel>(
            SL42_TRY(m_backend->build(m_program, function, constants, m_backend->dump(), stop)));
    }

private:
    kernel::Program m_program;
    std::shared_ptr<const host::HostBackend> m_backend;
};

} // namespace

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

Result<std::shared_ptr<const Library>> KernelCompiler::compile(std::string_view source,
                                                               const std::stop_token& stop) {
    if (const kernel::Dump* dump = m_backend->dump())
        dump->write("program", 0, "source", "metal", source);
    auto program = SL42_TRY(metal::compileOnThisThread(source, stop));
    kernel::keepBitcode(program); // kernels are built by several threads
    return std::shared_ptr<const Library>(
        std::make_shared<CompiledLibrary>(std::move(program), m_backend));
}

} // namespace compute::service
