// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Receives the syntax tree of a program as Clang reads it. Once the whole text is known to be
// correct it checks the language's own rules, reads the attributes and generates code.
#pragma once

#include "compute/metal/AddressSpaces.h"
#include "compute/metal/ClassParts.h"
#include "compute/metal/Reflection.h"

#include <clang/Sema/SemaConsumer.h>
#include <llvm/IR/LLVMContext.h>
#include <llvm/IR/Module.h>

#include <functional>
#include <memory>
#include <stop_token>
#include <vector>

namespace clang {
class CodeGenerator;
class CompilerInstance;
} // namespace clang

namespace compute::metal {

class ProgramConsumer final : public clang::SemaConsumer {
public:
    /// `result` receives module, kernels and constants when the text has no errors.
    ProgramConsumer(clang::CompilerInstance& compiler, AddressSpaces& spaces,
                    kernel::Program& result, const std::stop_token& stop);
    ~ProgramConsumer() override;

    const AddressSpaces& addressSpaces() const { return m_spaces; }

    void Initialize(clang::ASTContext& context) override;
    void InitializeSema(clang::Sema& sema) override;
    void ForgetSema() override;
    bool HandleTopLevelDecl(clang::DeclGroupRef group) override;
    void HandleInlineFunctionDefinition(clang::FunctionDecl* function) override;
    void HandleInterestingDecl(clang::DeclGroupRef group) override;
    void HandleTagDeclDefinition(clang::TagDecl* tag) override;
    void HandleTagDeclRequiredDefinition(const clang::TagDecl* tag) override;
    void HandleCXXStaticMemberVarInstantiation(clang::VarDecl* variable) override;
    void CompleteTentativeDefinition(clang::VarDecl* variable) override;
    void HandleTranslationUnit(clang::ASTContext& context) override;

private:
    bool hasErrors() const;
    void tellGenerator(std::function<void()> message);
    void generate(clang::ASTContext& context, const Reflection& reflection);

    clang::CompilerInstance& m_compiler;
    AddressSpaces& m_spaces;
    kernel::Program& m_result;
    std::stop_token m_stop;
    std::unique_ptr<clang::CodeGenerator> m_generator;
    clang::Sema* m_sema = nullptr;
    ClassParts m_classParts;
    std::vector<clang::Decl*> m_topLevel;
    /// What Clang has reported, in that order, until code generation begins. From then on reports
    /// go straight to the generator, whose own queries load more of the precompiled library.
    std::vector<std::function<void()>> m_deferred;
    bool m_generating = false;
};

} // namespace compute::metal
