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
#include <initializer_list>

namespace compute::target {
namespace {

unsigned chooseLanes(const llvm::StringMap<bool>& available, unsigned wished) {
    const auto hasAll = [&](std::initializer_list<const char*> features) {
        return std::ranges::all_of(features,
                                   [&](const char* one) { return available.lookup(one); });
    };
    unsigned most = 4;
    if (hasAll({"avx2", "fma", "f16c", "bmi"}))
        most = 8;
    if (most == 8 && hasAll({"avx512f", "avx512bw", "avx512dq", "avx512vl"}))
        most = 16;
    const bool isLess = wished == 1 || wished == 4 || wished == 8;
    return isLess ? std::min(wished, most) : most;
}

bool isAVX512(llvm::StringRef feature) {
    return feature.starts_with("avx512") || feature.starts_with("avx10") || feature == "evex512";
}

} // namespace

HostTarget::HostTarget(unsigned lanes) : m_triple(llvm::sys::getProcessTriple()) {
    llvm::InitializeNativeTarget();
    llvm::InitializeNativeTargetAsmPrinter();
    const llvm::StringMap<bool> available = llvm::sys::getHostCPUFeatures();
    m_lanes = chooseLanes(available, lanes);
    if (m_lanes == 16)
        m_vectors = {lanes == mostLanes ? 2u : 1u, lanes == 16 ? 1u : 2u};
    if (m_lanes == 4) {
        m_processor = "x86-64";
        return;
    }
    m_processor = llvm::sys::getHostCPUName().str();
    llvm::SubtargetFeatures list;
    for (const auto& feature : available)
        list.AddFeature(feature.first(),
                        feature.second && !(isAVX512(feature.first()) && m_lanes == 8));
    // Whole vectors of 512 bits, also where the processor's own tuning would shy away from them.
    list.AddFeature("prefer-256-bit", m_lanes != 16);
    m_features = list.getString();
}

HostTarget::~HostTarget() = default;

std::unique_ptr<llvm::TargetMachine> HostTarget::makeMachine() const {
    std::string message;
    const llvm::Target* target = llvm::TargetRegistry::lookupTarget(m_triple, message);
    if (target == nullptr)
        platform::fatalError(message);
    llvm::TargetOptions options;
    options.NoTrappingFPMath = true;
    std::unique_ptr<llvm::TargetMachine> machine(target->createTargetMachine(
        m_triple, m_processor, m_features, options, llvm::Reloc::PIC_, llvm::CodeModel::Small,
        llvm::CodeGenOptLevel::Default, /*JIT=*/true));
    if (machine == nullptr)
        platform::fatalError("no code generator for this processor");
    return machine;
}

void HostTarget::GiveBack::operator()(llvm::TargetMachine* machine) const {
    const platform::Lock lock(target->m_mutex);
    target->m_idle.emplace_back(machine);
}

HostTarget::Machine HostTarget::takeMachine() const {
    {
        const platform::Lock lock(m_mutex);
        if (!m_idle.empty()) {
            std::unique_ptr<llvm::TargetMachine> machine = std::move(m_idle.back());
            m_idle.pop_back();
            return {machine.release(), {this}};
        }
    }
    return {makeMachine().release(), {this}};
}

} // namespace compute::target
