// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// A canonical kernel from the text of its body, and the analyses of the vectoriser for it.
#pragma once

#include "compute/kernel/Analyses.h"
#include "compute/simd/analysis/PrivateMemory.h"
#include "compute/simd/analysis/Strides.h"
#include "tests/compute/kernel/ProgramText.h"

#include <llvm/IR/Module.h>

#include <optional>
#include <string>

namespace tests {

/// A function kernel(ptr bindings, ptr grid, i32 x, i32 y, i32 z) around `body`.
class KernelText {
public:
    explicit KernelText(const std::string& body);

    llvm::Function& function() { return *m_module->getFunction("kernel"); }
    llvm::Module& module() { return *m_module; }
    compute::kernel::Analyses& analyses() { return *m_analyses; }
    /// The value or block of that name, which must be there.
    llvm::Value* value(llvm::StringRef name);
    compute::simd::Block* block(llvm::StringRef name);
    std::string text() const;

private:
    llvm::LLVMContext m_context;
    std::unique_ptr<llvm::Module> m_module;
    compute::target::HostTarget::Machine m_target;
    std::optional<compute::kernel::Analyses> m_analyses;
};

/// All analyses, with every variable shared at first and what follows from that taken back once.
struct Analysed {
    explicit Analysed(KernelText& kernel);

    llvm::DominatorTree dominators;
    llvm::LoopInfo loops;
    compute::simd::PrivateMemory memory;
    std::optional<compute::simd::Uniformity> uniformity;
    std::optional<compute::simd::ControlTree> tree;
    std::optional<compute::simd::Strides> strides;
};

} // namespace tests
