// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/host/code/MachineCode.h"

#include "compute/host/code/LinkMemory.h"
#include "compute/host/code/RuntimeFunctions.h"

#include <llvm/ExecutionEngine/JITLink/JITLink.h>
#include <llvm/ExecutionEngine/Orc/Shared/ExecutorAddress.h>
#include <llvm/Object/ELFObjectFile.h>
#include <llvm/Support/xxhash.h>

#include <string>

namespace compute::host {
namespace {

using namespace llvm::jitlink;

/// The result of a link; `error` is set unless there is an allocation.
struct Outcome {
    JITLinkMemoryManager::FinalizedAlloc allocation;
    std::vector<void*> entries;
    std::string error;
};

/// Answers the linker's questions. The linker works on the calling thread throughout.
class LinkContext final : public JITLinkContext {
public:
    LinkContext(JITLinkMemoryManager& memory, std::span<const std::string_view> symbols,
                Outcome& outcome)
        : JITLinkContext(nullptr), m_memory(memory), m_symbols(symbols), m_outcome(outcome) {}

    JITLinkMemoryManager& getMemoryManager() override { return m_memory; }

    void notifyFailed(llvm::Error error) override {
        m_outcome.error = llvm::toString(std::move(error));
    }

    void lookup(const LookupMap& symbols,
                std::unique_ptr<JITLinkAsyncLookupContinuation> next) override {
        llvm::jitlink::AsyncLookupResult result;
        for (const auto& [name, flags] : symbols) {
            void* address = runtimeFunction({name.data(), name.size()});
            if (address == nullptr) {
                next->run(llvm::createStringError("function '" + name.str() +
                                                  "' is not available to kernels"));
                return;
            }
            result[name] = {llvm::orc::ExecutorAddr::fromPtr(address),
                            llvm::JITSymbolFlags::Exported | llvm::JITSymbolFlags::Callable};
        }
        next->run(std::move(result));
    }

    llvm::Error notifyResolved(LinkGraph& graph) override {
        m_outcome.entries.resize(m_symbols.size());
        for (Symbol* symbol : graph.defined_symbols())
            for (std::size_t i = 0; i < m_symbols.size(); ++i)
                if (symbol->hasName() && std::string_view(symbol->getName()) == m_symbols[i])
                    m_outcome.entries[i] = symbol->getAddress().toPtr<void*>();
        return llvm::is_contained(m_outcome.entries, nullptr)
                   ? llvm::createStringError("the kernel has no machine code")
                   : llvm::Error::success();
    }

    void notifyFinalized(JITLinkMemoryManager::FinalizedAlloc allocation) override {
        m_outcome.allocation = std::move(allocation);
    }

private:
    JITLinkMemoryManager& m_memory;
    std::span<const std::string_view> m_symbols;
    Outcome& m_outcome;
};

/// Hashes the sections that are loaded and their relocations, but not the names and source
/// locations that an object file holds besides.
Fingerprint fingerprintOf(llvm::MemoryBufferRef object) {
    std::string bytes;
    auto file = llvm::object::ObjectFile::createELFObjectFile(object);
    if (!file) {
        llvm::consumeError(file.takeError());
        return {};
    }
    const auto isLoaded = [](const llvm::object::SectionRef& section) {
        return (llvm::object::ELFSectionRef(section).getFlags() & llvm::ELF::SHF_ALLOC) != 0;
    };
    for (const llvm::object::SectionRef& section : (*file)->sections()) {
        const auto relocated = llvm::cantFail(section.getRelocatedSection());
        const bool relocates = relocated != (*file)->section_end();
        if (isLoaded(relocates ? *relocated : section))
            if (const auto contents = llvm::expectedToOptional(section.getContents()))
                bytes += std::to_string(contents->size()) + ":" + contents->str();
    }
    const llvm::XXH128_hash_t hash = llvm::xxh3_128bits(llvm::arrayRefFromStringRef(bytes));
    return {hash.low64, hash.high64};
}

} // namespace

MachineCode::MachineCode(std::vector<CodeArena::Block> blocks, std::vector<void*> entries,
                         Fingerprint fingerprint)
    : m_blocks(std::move(blocks)), m_entries(std::move(entries)), m_fingerprint(fingerprint) {}

platform::Result<MachineCode> MachineCode::link(llvm::MemoryBufferRef object,
                                                std::span<const std::string_view> symbols) {
    auto graph = createLinkGraphFromObject(object);
    if (!graph)
        return platform::Error{llvm::toString(graph.takeError())};
    LinkMemory memory(*SL42_TRY(CodeArena::ofProcess()));
    Outcome outcome;
    llvm::jitlink::link(std::move(*graph), std::make_unique<LinkContext>(memory, symbols, outcome));
    if (!outcome.allocation)
        return platform::Error{outcome.error};
    return MachineCode(LinkMemory::take(std::move(outcome.allocation)), std::move(outcome.entries),
                       fingerprintOf(object));
}

} // namespace compute::host
