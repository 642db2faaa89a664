// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/target/HostTarget.h"

#include "platform/base/Fatal.h"

#include <llvm/ADT/StringMap.h>
#include <llvm/MC/TargetRegistry.h>
#include <llvm/Support/TargetSelect.h>
#include <llvm/TargetParser/Host.h>
#include <llvm/TargetParser/SubtargetFeature.h>

#include <algorithm>
#include <cstdlib>
#include <initializer_list>
#include <mutex>
#include <string>
#include <vector>

namespace compute::target {
namespace {

/// What code may use, asked for once: cpuid traps in virtual machines and is slow there.
struct Processor {
    std::string triple = llvm::sys::getProcessTriple();
    std::string name = llvm::sys::getHostCPUName().str();
    std::string features;
    unsigned lanes = 4;
    VectorsInFlight vectors = {1, 1};

    Processor() {
        const llvm::StringMap<bool> available = llvm::sys::getHostCPUFeatures();
        const char* wish = std::getenv("SL42_SIMD");
        const auto wished = static_cast<unsigned>(wish != nullptr ? std::atoi(wish) : 0);
        lanes = chooseLanes(available, wished);
        if (lanes == 16)
            vectors = {wished == mostLanes ? 2u : 1u, wished == 16 ? 1u : 2u};
        if (lanes == 4) {
            name = "x86-64";
            return;
        }
        llvm::SubtargetFeatures list;
        for (const auto& feature : available) {
            const bool isLarge = feature.first().starts_with("avx512") ||
                                 feature.first().starts_with("avx10") ||
                                 feature.first() == "evex512";
            list.AddFeature(feature.first(), feature.second && !(isLarge && lanes == 8));
        }
        features = list.getString();
    }

private:
    static unsigned chooseLanes(const llvm::StringMap<bool>& available, unsigned wished) {
        const auto hasAll = [&](std::initializer_list<const char*> features) {
            return std::ranges::all_of(features,
                                       [&](const char* one) { return available.lookup(one); });
        };
        unsigned most = 4;
        if (hasAll({"avx2", "fma", "f16c", "bmi"}))
            most = 8;
        if (most == 8 && hasAll({"avx512f", "avx512bw", "avx512dq", "avx512vl"}))
            most = 16;
        const bool isPossible = wished == 1 || wished == 4 || wished == 8;
        return isPossible ? std::min(wished, most) : most;
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

unsigned hostLanes() {
    return processor().lanes;
}

VectorsInFlight hostVectorsInFlight() {
    return processor().vectors;
}

void KeepTargetMachine::operator()(llvm::TargetMachine* machine) const {
    idleMachines().add(std::unique_ptr<llvm::TargetMachine>(machine));
}

HostTargetMachine takeHostTargetMachine() {
    std::unique_ptr<llvm::TargetMachine> machine = idleMachines().take();
    return HostTargetMachine(machine ? machine.release() : makeMachine().release());
}

} // namespace compute::target
