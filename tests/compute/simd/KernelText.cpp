// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "tests/compute/simd/KernelText.h"

#include <gtest/gtest.h>
#include <llvm/AsmParser/Parser.h>
#include <llvm/IR/ValueSymbolTable.h>
#include <llvm/Support/SourceMgr.h>

#include <cstdlib>

namespace tests {

using namespace compute;

KernelText::KernelText(const std::string& body) {
    m_target = tests::hostTarget().takeMachine();
    const std::string text =
        "define void @kernel(ptr noalias readonly %bindings, ptr noalias readonly %grid, i32 %x, "
        "i32 %y, i32 %z) {\n" +
        body + "\n}\n";
    llvm::SMDiagnostic diagnostic;
    m_module = llvm::parseAssemblyString(text, diagnostic, m_context);
    if (m_module == nullptr) {
        diagnostic.print("test", llvm::errs());
        std::abort();
    }
    m_module->setDataLayout(m_target->createDataLayout());
    m_analyses.emplace(*m_target);
}

llvm::Value* KernelText::value(llvm::StringRef name) {
    llvm::Value* found = function().getValueSymbolTable()->lookup(name);
    if (found == nullptr)
        std::abort();
    return found;
}

simd::Block* KernelText::block(llvm::StringRef name) {
    return llvm::cast<simd::Block>(value(name));
}

std::string KernelText::text() const {
    std::string text;
    llvm::raw_string_ostream stream(text);
    m_module->print(stream, nullptr);
    return text;
}

Analysed::Analysed(KernelText& kernel)
    : dominators(kernel.function()), loops(dominators), memory(kernel.function()) {
    do {
        uniformity.emplace(kernel.function(), memory.varying());
        tree.emplace(kernel.function(), dominators, loops, *uniformity);
    } while (memory.refute(*uniformity, *tree, dominators));
    strides.emplace(kernel.function(), loops, *uniformity, memory);
}

} // namespace tests
