// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "tests/compute/kernel/PassBench.h"

#include "compute/kernel/Calls.h"
#include "compute/kernel/ModuleText.h"
#include "compute/kernel/pipeline/Passes.h"

#include <llvm/IR/Constants.h>
#include <llvm/IR/InstIterator.h>
#include <llvm/IR/Instructions.h>
#include <llvm/IR/Verifier.h>
#include <llvm/Support/raw_ostream.h>
#include <llvm/Transforms/Utils/Cloning.h>

#include <algorithm>

namespace tests {

using namespace compute;
using namespace compute::kernel;

namespace {

/// Copies every function of the program that the kernel calls, shared or not.
void inlineEverything(llvm::Function& kernel) {
    for (bool found = true; found;) {
        found = false;
        for (llvm::Instruction& instruction : llvm::instructions(kernel))
            if (calledFunction(instruction) != nullptr) {
                llvm::InlineFunctionInfo information;
                found = llvm::InlineFunction(llvm::cast<llvm::CallBase>(instruction), information)
                            .isSuccess();
                break;
            }
    }
}

} // namespace

bool contains(const std::string& text, std::string_view part) {
    return text.find(part) != std::string::npos;
}

PassBench::PassBench(Program program) : m_program(std::move(program)) {
    m_target = hostTarget().takeMachine();
    m_analyses.emplace(*m_target);
    m_context.emplace(PassContext{.module = *m_program.module,
                                  .target = *m_target,
                                  .analyses = *m_analyses,
                                  .kernel = m_program.kernels[0],
                                  .constants = m_program.constants,
                                  .values = m_values});
}

std::string PassBench::run(const Pass& pass) {
    if (auto result = pass.run(*m_context); !result)
        return result.error().message;
    std::string fault;
    llvm::raw_string_ostream stream(fault);
    return llvm::verifyModule(*m_program.module, &stream) ? fault : std::string();
}

std::string PassBench::run(std::initializer_list<std::string_view> names) {
    for (const std::string_view name : names) {
        const auto pass = std::ranges::find(passes(), name, &Pass::name);
        if (pass == passes().end())
            return "no such pass";
        if (std::string fault = run(*pass); !fault.empty())
            return fault;
    }
    return {};
}

std::string PassBench::runThrough(std::string_view last) {
    for (const Pass& pass : passes()) {
        if (std::string fault = run(pass); !fault.empty())
            return fault;
        if (pass.name == last)
            return {};
    }
    return "no such pass";
}

std::string PassBench::text() const {
    return moduleText(*m_program.module);
}

std::string PassBench::stored(unsigned x) {
    module().setDataLayout(m_target->createDataLayout());
    inlineEverything(entry());
    llvm::Argument& position = *entry().getArg(XArgument);
    position.replaceAllUsesWith(llvm::ConstantInt::get(position.getType(), x));
    m_analyses->forget(entry());
    m_context->shared.clear();
    if (std::string fault = run({"promote"}); !fault.empty())
        return fault;
    for (const llvm::Instruction& instruction : llvm::instructions(entry()))
        if (const auto* store = llvm::dyn_cast<llvm::StoreInst>(&instruction))
            if (const auto* number = llvm::dyn_cast<llvm::ConstantInt>(store->getValueOperand()))
                return std::to_string(number->getSExtValue());
    return text();
}

} // namespace tests
