// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Runs single passes of the pipeline on small programs, and evaluates what they leave: a thread's
// position is put in for the parameter, and the optimiser computes what the kernel would store.
#pragma once

#include "compute/kernel/Pass.h"
#include "compute/target/HostTarget.h"
#include "tests/compute/kernel/ProgramText.h"

#include <optional>
#include <string>
#include <string_view>

namespace tests {

bool contains(const std::string& text, std::string_view part);

class PassBench {
public:
    explicit PassBench(compute::kernel::Program program);

    /// Runs the named passes and verifies the module after each; an empty text or the error.
    std::string run(std::initializer_list<std::string_view> names);
    /// The same for the pipeline up to and including the named pass.
    std::string runThrough(std::string_view last);

    llvm::Module& module() { return *m_program.module; }
    llvm::Function& entry() { return *m_context->entry; }
    llvm::Function* function(std::string_view name) {
        return module().getFunction(llvm::StringRef(name.data(), name.size()));
    }
    llvm::FunctionAnalysisManager& analyses() { return m_analyses->functions(); }
    std::string text() const;

    /// The number that thread x stores; the whole code when the optimiser does not find a constant.
    /// Comes last.
    std::string stored(unsigned x);

private:
    std::string run(const compute::kernel::Pass& pass);

    compute::kernel::Program m_program;
    const compute::ConstantValues m_values;
    compute::target::HostTarget::Machine m_target;
    std::optional<compute::kernel::Analyses> m_analyses;
    std::optional<compute::kernel::PassContext> m_context;
};

} // namespace tests
