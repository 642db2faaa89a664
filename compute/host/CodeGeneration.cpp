// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/host/CodeGeneration.h"

#include "compute/host/SplitBlocks.h"
#include "compute/host/SplitLiveRanges.h"
#include "compute/host/locations/RecordSourceLocations.h"
#include "compute/host/loop/SplitAtBarriers.h"
#include "compute/host/loop/ThreadLoop.h"
#include "compute/kernel/Dump.h"
#include "compute/kernel/GroupOperations.h"
#include "compute/kernel/ModuleText.h"
#include "compute/kernel/Verification.h"
#include "compute/kernel/containment/ConfineAccesses.h"
#include "compute/kernel/containment/VerifyAccesses.h"
#include "compute/simd/Vectoriser.h"

#include <llvm/CodeGen/AsmPrinter.h>
#include <llvm/CodeGen/MachineModuleInfo.h>
#include <llvm/CodeGen/Passes.h>
#include <llvm/CodeGen/TargetPassConfig.h>
#include <llvm/IR/LegacyPassManager.h>
#include <llvm/MC/MCStreamer.h>
#include <llvm/MC/TargetRegistry.h>
#include <llvm/Support/raw_ostream.h>
#include <llvm/Transforms/Scalar/ADCE.h>
#include <llvm/Transforms/Scalar/EarlyCSE.h>
#include <llvm/Transforms/Utils/Cloning.h>

#include <array>
#include <cstdio>

namespace compute::host {
namespace {

/// These numbers sort the dumps after those of the kernel pipeline.
enum DumpNumber : unsigned { PreparedDump = 49, TileDump, AssemblyDump };

/// Whether constants hoisted out of the thread loop would be spilled there.
bool isLarge(const llvm::Module& module) {
    constexpr unsigned largeKernel = 600;
    return module.getInstructionCount() > largeKernel;
}

/// In large kernels a constant is best loaded where it is used: hoisted out of the loop, it is only
/// spilled, which costs the allocator as much time as instruction selection takes. In very large
/// ones, scheduling of instructions takes too long and is left to the processor.
void leaveOutPasses(llvm::TargetPassConfig& passes, const llvm::Module& module) {
    if (!isLarge(module))
        return;
    passes.disablePass(&llvm::EarlyMachineLICMID);
    passes.disablePass(&llvm::MachineCSEID);
    constexpr unsigned veryLargeKernel = 8000;
    if (module.getInstructionCount() <= veryLargeKernel)
        return;
    passes.disablePass(&llvm::MachineSchedulerID);
    passes.disablePass(&llvm::PostRASchedulerID);
}

/// Does what the target's addPassesToEmitFile() does, which neither allows leaving passes out nor
/// gives access to the printer. Records source locations unless `locations` is null.
bool emit(llvm::Module& module, llvm::TargetMachine& target, llvm::CodeGenFileType type,
          llvm::SmallVectorImpl<char>& output, LocationTable* locations) {
    auto& machine = static_cast<llvm::LLVMTargetMachine&>(target);
    llvm::raw_svector_ostream stream(output);
    llvm::legacy::PassManager passes;
    auto* information = new llvm::MachineModuleInfoWrapperPass(&machine);
    llvm::TargetPassConfig* config = machine.createPassConfig(passes);
    config->setDisableVerify(true);
    passes.add(config);
    passes.add(information);
    leaveOutPasses(*config, module);
    if (config->addISelPasses())
        return false;
    config->addMachinePasses();
    config->setInitialized();
    auto streamer =
        machine.createMCStreamer(stream, nullptr, type, information->getMMI().getContext());
    if (!streamer) {
        llvm::consumeError(streamer.takeError());
        return false;
    }
    llvm::AsmPrinter* printer = machine.getTarget().createAsmPrinter(machine, std::move(*streamer));
    passes.add(printer);
    const LoopBegins loops = findLoopBegins(module);
    if (locations != nullptr)
        recordSourceLocations(*printer, loops, prepareSymbol, *locations);
    passes.add(llvm::createFreeMachineFunctionPass());
    passes.run(module);
    return true;
}

void dumpAssembly(const kernel::Dump* dump, const llvm::Module& module, llvm::TargetMachine& target,
                  std::string_view name) {
    if (dump == nullptr)
        return;
    // Code generation changes the module, so the assembly is made from a copy.
    llvm::SmallString<0> assembly;
    const std::unique_ptr<llvm::Module> copy = llvm::CloneModule(module);
    if (emit(*copy, target, llvm::CodeGenFileType::AssemblyFile, assembly, nullptr))
        dump->write(name, AssemblyDump, "assembly", "s", {assembly.data(), assembly.size()});
}

/// Reports on request why a kernel is not vectorised.
void traceScalar(const std::string& kernel, const std::string& reason) {
    std::fprintf(stderr, "kernel %s is not vectorised: %s\n", kernel.c_str(), reason.c_str());
}

/// Null when the kernel is to run one thread at a time. Fails where that is not possible.
platform::Result<std::unique_ptr<simd::Vectoriser>>
vectoriserFor(const kernel::CanonicalKernel& kernel, llvm::Function& function,
              kernel::Analyses& analyses, const target::HostTarget& target, bool traces) {
    const bool mustBeWide = function.hasFnAttribute(kernel::simdgroupKernelAttribute);
    if (target.lanes() == 1 && !mustBeWide)
        return std::unique_ptr<simd::Vectoriser>();
    constexpr unsigned fewestLanes = 4;
    auto made = simd::Vectoriser::analyse(function, analyses, std::max(target.lanes(), fewestLanes),
                                          target.vectorsInFlight());
    if (made)
        return std::move(*made);
    if (mustBeWide)
        return platform::Error{
            "kernel '" + kernel.name +
            "' uses functions of SIMD-groups, which it cannot: " + made.error().message};
    if (traces)
        traceScalar(kernel.name, made.error().message);
    return std::unique_ptr<simd::Vectoriser>();
}

/// Removes the functions that only the scalar kernel called.
void removeUncalled(llvm::Module& module, kernel::Analyses& analyses) {
    const auto isUncalled = [](const llvm::Function& function) {
        return function.hasLocalLinkage() && function.use_empty();
    };
    for (auto found = llvm::find_if(module, isUncalled); found != module.end();
         found = llvm::find_if(module, isUncalled)) {
        analyses.functions().clear(*found, found->getName());
        found->eraseFromParent();
    }
}

struct TileFunction {
    unsigned hoistedBytes; ///< size of the hoisted memory
    Placement placement;
    GroupLayout groups;
};

/// Confines all accesses to the kernel's own memory.
platform::Result<Placement> confine(llvm::Module& module, const ThreadLoop& loop) {
    Placement placement = SL42_TRY(placeVariables(module, loop.memory));
    for (llvm::Function& function : module)
        if (!function.isDeclaration()) {
            kernel::confineAccesses(function);
            function.addFnAttr("no-jump-tables", "true");
            function.addFnAttr("probe-stack", "inline-asm");
        }
    return placement;
}

platform::Result<TileFunction> makeTileFunction(const kernel::CanonicalKernel& kernel,
                                                llvm::TargetMachine& machine,
                                                const target::HostTarget& target,
                                                const kernel::CompilerOptions& options,
                                                const kernel::Dump* dump) {
    kernel::Analyses analyses(machine);
    llvm::Function& function = *kernel.module->getFunction(kernel.symbol);
    const bool worksInGroups = function.hasFnAttribute(kernel::groupKernelAttribute);
    const auto vectoriser =
        SL42_TRY(vectoriserFor(kernel, function, analyses, target, options.traces));
    if (vectoriser != nullptr)
        kernel::dumpModule(dump, *kernel.module, kernel.name, PreparedDump, "prepareLanes");
    const ThreadLoop loop = addThreadLoop(function, analyses, vectoriser.get());
    llvm::FunctionPassManager passes;
    passes.addPass(llvm::EarlyCSEPass());
    passes.addPass(llvm::ADCEPass());
    removeUncalled(*kernel.module, analyses);
    for (llvm::Function& made : *kernel.module)
        if (!made.isDeclaration())
            analyses.run(passes, made);
    GroupLayout groups{.worksInGroups = worksInGroups, .vectorBytes = 0, .lanes = loop.lanes};
    if (worksInGroups)
        groups.vectorBytes = SL42_TRY(splitAtBarriers(loop, kernel.name));
    TileFunction result{.hoistedBytes = loop.hoistedBytes,
                        .placement = SL42_TRY(confine(*kernel.module, loop)),
                        .groups = groups};
    for (llvm::Function& made : *kernel.module)
        if (!made.isDeclaration()) {
            splitBlocks(made);
            splitLiveRanges(made);
        }
    // The function runs once for a whole grid, so compiling it quickly matters most.
    loop.prepare.addFnAttr(llvm::Attribute::OptimizeNone);
    loop.prepare.addFnAttr(llvm::Attribute::NoInline);
    return result;
}

} // namespace

platform::Result<GeneratedCode> generateCode(kernel::CanonicalKernel& kernel,
                                             const target::HostTarget& target,
                                             const kernel::CompilerOptions& options,
                                             const kernel::Dump* dump) {
    const target::HostTarget::Machine machine = target.takeMachine();
    TileFunction tile = SL42_TRY(makeTileFunction(kernel, *machine, target, options, dump));
    kernel::dumpModule(dump, *kernel.module, kernel.name, TileDump, "threadLoop");
    SL42_TRY_VOID(kernel::verifyAfter("threadLoop", *kernel.module, options));
    SL42_TRY_VOID(kernel::verifyAccesses(*kernel.module));
    dumpAssembly(dump, *kernel.module, *machine, kernel.name);
    llvm::SmallString<0> object;
    LocationTable locations;
    if (!emit(*kernel.module, *machine, llvm::CodeGenFileType::ObjectFile, object, &locations) ||
        !readOffsets({object.str(), kernel.name}, locations))
        return platform::Error{"no machine code can be generated for this processor"};
    constexpr std::array symbols = {prepareSymbol, tileSymbol};
    MachineCode code = SL42_TRY(MachineCode::link({object.str(), kernel.name}, symbols));
    const auto origin = reinterpret_cast<std::uintptr_t>(code.entry(PrepareEntry));
    return GeneratedCode{.code = std::move(code),
                         .locations = SourceLocations(std::move(locations), origin),
                         .hoistedBytes = tile.hoistedBytes,
                         .placement = std::move(tile.placement),
                         .groups = tile.groups};
}

} // namespace compute::host
