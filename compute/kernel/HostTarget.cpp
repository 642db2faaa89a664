// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/kernel/HostTarget.h"

#include "platform/base/Fatal.h"

#include <llvm/ADT/StringMap.h>
#include <llvm/MC/TargetRegistry.h>
#include <llvm/Support/TargetSelect.h>
#include <llvm/TargetParser/Host.h>
#include <llvm/TargetParser/SubtargetFeature.h>

#include <string>

namespace compute::kernel {
namespace {

/// Processor name and features, asked for once: cpuid traps in virtual machines and is slow there.
struct Processor {
    std::string triple = llvm::sys::getProcessTriple();
    std::string name = llvm::sys::getHostCPUName().str();
    std::string features;

    Processor() {
        llvm::SubtargetFeatures list;
        for (const auto& feature : llvm::sys::getHostCPUFeatures())
            list.AddFeature(feature.first(), feature.second);
        features = list.getString();
    }
};

const Processor& processor() {
    static const Processor instance;
    return instance;
}

} // namespace

void initialiseHostTarget() {
    llvm::InitializeNativeTarget();
    llvm::InitializeNativeTargetAsmPrinter();
    processor();
}

std::unique_ptr<llvm::TargetMachine> makeHostTargetMachine() {
    std::string message;
    const llvm::Target* target = llvm::TargetRegistry::lookupTarget(processor().triple, message);
    if (target == nullptr)
        platform::fatalError(message);
    llvm::TargetOptions options;
    options.NoTrappingFPMath = true;
    std::unique_ptr<llvm::TargetMachine> machine(target->createTargetMachine(
        processor().triple, processor().name, processor().features, options, llvm::Reloc::PIC_,
        llvm::CodeModel::Small, llvm::CodeGenOptLevel::Default, /*JIT=*/true));
    if (machine == nullptr)
        platform::fatalError("no code generator for this processor");
    return machine;
}

} // namespace compute::kernel
