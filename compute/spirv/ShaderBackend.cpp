// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/spirv/ShaderBackend.h"

#include "compute/kernel/Dump.h"
#include "compute/kernel/ModuleText.h"
#include "compute/kernel/Verification.h"
#include "compute/spirv/ShaderTarget.h"
#include "compute/spirv/Validation.h"
#include "compute/spirv/emit/ModuleEmitter.h"
#include "compute/spirv/passes/Passes.h"

#include <chrono>

namespace compute::spirv {
namespace {

/// Where the dumps of the kernel pipeline end.
constexpr unsigned firstDump = 40;

double millisecondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
        .count();
}

platform::Result<Shader> translate(kernel::CanonicalKernel& canonical, llvm::TargetMachine& target,
                                   const Features& features, const kernel::CompilerOptions& options,
                                   const kernel::Dump* dump, const std::stop_token& stop) {
    kernel::Analyses analyses(target);
    Lowering lowering{.module = *canonical.module,
                      .analyses = analyses,
                      .features = features,
                      .name = canonical.name,
                      .kernel = canonical.module->getFunction(canonical.symbol)};
    unsigned number = firstDump;
    for (const ShaderPass& pass : passes()) {
        SL42_TRY_VOID(pass.run(lowering));
        SL42_TRY_VOID(kernel::verifyAfter(pass.name, *canonical.module, options));
        if (stop.stop_requested())
            return platform::Error{"no longer needed"};
        dumpModule(dump, *canonical.module, canonical.name, ++number, pass.name);
    }
    Shader shader = SL42_TRY(ModuleEmitter(lowering).run());
    if (dump != nullptr)
        dump->write(canonical.name, ++number, "shader", "spvasm", disassemble(shader.words));
#ifndef NDEBUG
    SL42_TRY_VOID(validate(shader.words));
#endif
    return shader;
}

} // namespace

platform::Result<TranslatedKernel>
translate(const kernel::Program& program, std::string_view name, const ConstantValues& constants,
          const Features& features, const kernel::CompilerOptions& options,
          const kernel::Dump* dump, const std::stop_token& stop) {
    const auto target = makeShaderTarget();
    auto canonical =
        SL42_TRY(kernel::canonicalise(program, name, constants, *target, options, dump, stop));
    const auto start = std::chrono::steady_clock::now();
    TranslatedKernel result;
    result.shader = SL42_TRY(translate(canonical, *target, features, options, dump, stop));
    result.parameters = std::move(canonical.parameters);
    result.optimiserMilliseconds = canonical.optimiserMilliseconds;
    result.translationMilliseconds = millisecondsSince(start);
    return result;
}

} // namespace compute::spirv
