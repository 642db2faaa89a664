// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/kernel/HostTarget.h"

#include "platform/base/Fatal.h"

#include <llvm/ADT/StringMap.h>
#include <llvm/MC/TargetRegistry.h>
#include <llvm/Support/TargetSelect.h>
#include <llvm/TargetParser/Host.h>
#include <llvm/TargetParser/SubtargetFeature.h>

#include <mutex>
#include <string>
#include <vector>

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

/// The machines that no job has at the moment; never more than there were jobs at one time.
class IdleMachines {
public:
    std::unique_ptr<llvm::TargetMachine> take() {
        const std::scoped_lock lock(m_mutex);
        if (m_machines.empty())
            return nullptr;
        auto machine = std::move(m_machines.back());
        m_machines.pop_back();
        return machine;
    }
    void add(std::unique_ptr<llvm::TargetMachine> machine) {
        const std::scoped_lock lock(m_mutex);
        m_machines.push_back(std::move(machine));
    }

private:
    std::mutex m_mutex;
    std::vector<std::unique_ptr<llvm::TargetMachine>> m_machines;
};

IdleMachines& idleMachines() {
    static IdleMachines instance;
    return instance;
}

std::unique_ptr<llvm::TargetMachine> makeMachine() {
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

} // namespace

void initialiseHostTarget() {
    llvm::InitializeNativeTarget();
    llvm::InitializeNativeTargetAsmPrinter();
    processor();
}

void KeepTargetMachine::operator()(llvm::TargetMachine* machine) const {
    idleMachines().add(std::unique_ptr<llvm::TargetMachine>(machine));
}

HostTargetMachine takeHostTargetMachine() {
    std::unique_ptr<llvm::TargetMachine> machine = idleMachines().take();
    return HostTargetMachine(machine ? machine.release() : makeMachine().release());
}

} // namespace compute::kernel
