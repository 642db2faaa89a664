// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/spirv/ShaderTarget.h"

#include <llvm/Analysis/TargetTransformInfo.h>
#include <llvm/MC/TargetRegistry.h>
#include <llvm/TargetParser/Triple.h>

namespace compute::spirv {
namespace {

const llvm::Target& description() {
    static const llvm::Target target{};
    return target;
}

/// LLVM's own defaults for a processor of which nothing is known do well: no vectors, integers of
/// the widths of the data layout, words at multiples of their size.
class ShaderTarget : public llvm::TargetMachine {
public:
    ShaderTarget()
        : TargetMachine(description(), "e-p:64:64-i64:64-i128:128-n8:16:32:64",
                        llvm::Triple("spir64-unknown-unknown"), "", "", llvm::TargetOptions()) {}
};

} // namespace

std::unique_ptr<llvm::TargetMachine> makeShaderTarget() {
    return std::make_unique<ShaderTarget>();
}

} // namespace compute::spirv
