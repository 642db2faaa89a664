// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/kernel/pipeline/Canonical.h"

#include "compute/kernel/ModuleText.h"
#include "compute/kernel/Verification.h"
#include "compute/kernel/passes/SpecialiseConstants.h"
#include "compute/kernel/pipeline/BindingAccess.h"
#include "compute/kernel/pipeline/ExtractKernel.h"
#include "compute/kernel/pipeline/Passes.h"

#include <algorithm>
#include <chrono>

namespace compute::kernel {
namespace {

platform::Result<const KernelDeclaration*> findKernel(const Program& program,
                                                      std::string_view name) {
    const auto found = std::ranges::find(program.kernels, name, &KernelDeclaration::name);
    if (found == program.kernels.end())
        return platform::Error{"there is no kernel '" + std::string(name) + "'"};
    if (!found->unsupported.empty())
        return platform::Error{"kernel '" + std::string(name) + "': " + found->unsupported};
    return &*found;
}

} // namespace

platform::Result<void> checkFunction(const Program& program, std::string_view name,
                                     const ConstantValues& constants) {
    SL42_TRY(findKernel(program, name));
    return checkConstants(program.constants, constants);
}

platform::Result<CanonicalKernel> canonicalise(const Program& program, std::string_view name,
                                               const ConstantValues& constants,
                                               llvm::TargetMachine& target,
                                               const CompilerOptions& options, const Dump* dump,
                                               const std::stop_token& stop) {
    const auto start = std::chrono::steady_clock::now();
    SL42_TRY_VOID(checkFunction(program, name, constants));
    const KernelDeclaration& declaration = *SL42_TRY(findKernel(program, name));
    ExtractedKernel extracted = SL42_TRY(extractKernel(program, declaration));
    dumpModule(dump, *extracted.module, name, 0, "extractKernel");

    Analyses analyses(target);
    PassContext context{.module = *extracted.module,
                        .target = target,
                        .analyses = analyses,
                        .kernel = declaration,
                        .constants = program.constants,
                        .values = constants,
                        .options = options};
    unsigned number = 0;
    for (const Pass& pass : passes()) {
        SL42_TRY_VOID(pass.run(context));
        SL42_TRY_VOID(verifyAfter(pass.name, *extracted.module, options));
        if (stop.stop_requested())
            return platform::Error{"no longer needed"};
        dumpModule(dump, *extracted.module, name, ++number, pass.name);
    }
    std::vector<Parameter> parameters = declaration.parameters;
    findAccesses(*extracted.module->getFunction(canonicalSymbol), parameters);
    const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - start;
    return CanonicalKernel{.context = std::move(extracted.context),
                           .module = std::move(extracted.module),
                           .name = declaration.name,
                           .symbol = std::string(canonicalSymbol),
                           .parameters = std::move(parameters),
                           .optimiserMilliseconds = time.count()};
}

} // namespace compute::kernel
