// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/metal/ProgramConsumer.h"

#include "compute/metal/ConstantOperands.h"
#include "compute/metal/DiagnosticText.h"
#include "compute/metal/InputLimits.h"
#include "compute/metal/LikelyMistakes.h"
#include "compute/metal/ModuleChecks.h"
#include "compute/metal/Restrictions.h"
#include "compute/metal/Stop.h"
#include "compute/metal/TemplateOperators.h"

#include <clang/AST/ASTContext.h>
#include <clang/AST/Attr.h>
#include <clang/AST/GlobalDecl.h>
#include <clang/AST/RecursiveASTVisitor.h>
#include <clang/CodeGen/ModuleBuilder.h>
#include <clang/Frontend/CompilerInstance.h>
#include <clang/Lex/PreprocessorOptions.h>
#include <clang/Sema/Sema.h>

namespace compute::metal {
namespace {

bool isDefinedInClass(const clang::Decl* declaration) {
    return llvm::isa<clang::FunctionDecl>(declaration) &&
           llvm::isa<clang::CXXRecordDecl>(declaration->getLexicalDeclContext());
}

} // namespace

ProgramConsumer::ProgramConsumer(clang::CompilerInstance& compiler, AddressSpaces& spaces,
                                 kernel::Program& result, const std::stop_token& stop)
    : m_compiler(compiler),
      m_spaces(spaces),
      m_result(result),
      m_stop(stop),
      m_generator(clang::CreateLLVMCodeGen(
          compiler.getDiagnostics(), "program", &compiler.getVirtualFileSystem(),
          compiler.getHeaderSearchOpts(), compiler.getPreprocessorOpts(), compiler.getCodeGenOpts(),
          *result.context)) {}

ProgramConsumer::~ProgramConsumer() = default;

void ProgramConsumer::Initialize(clang::ASTContext& context) {
    m_generator->Initialize(context);
}

void ProgramConsumer::InitializeSema(clang::Sema& sema) {
    m_sema = &sema;
    m_spaces.setSema(&sema);
    static_cast<DiagnosticText&>(m_compiler.getDiagnosticClient()).setSema(&sema);
    limitTemplates(sema, m_stop);
}

void ProgramConsumer::ForgetSema() {
    m_sema = nullptr;
    m_spaces.setSema(nullptr);
    static_cast<DiagnosticText&>(m_compiler.getDiagnosticClient()).setSema(nullptr);
}

bool ProgramConsumer::HandleTopLevelDecl(clang::DeclGroupRef group) {
    if (!hasErrors())
        deferOperators(m_compiler.getASTContext(), group);
    m_topLevel.insert(m_topLevel.end(), group.begin(), group.end());
    tellGenerator([=, this] { m_generator->HandleTopLevelDecl(group); });
    return true;
}

void ProgramConsumer::HandleInlineFunctionDefinition(clang::FunctionDecl* function) {
    tellGenerator([=, this] { m_generator->HandleInlineFunctionDefinition(function); });
}

void ProgramConsumer::HandleInterestingDecl(clang::DeclGroupRef group) {
    // From the precompiled library: nothing there is part of the program's own top level. What is
    // defined inside a class the generator finds by itself when it is called; everything that is
    // told here costs it a mangled name.
    if (llvm::all_of(group, isDefinedInClass))
        return;
    tellGenerator([=, this] { m_generator->HandleInterestingDecl(group); });
}

void ProgramConsumer::HandleTagDeclDefinition(clang::TagDecl* tag) {
    if (!hasErrors() && m_classParts.areTooMany(*tag))
        stop(m_compiler.getDiagnostics(), tag->getLocation(), "class has too many parts");
    tellGenerator([=, this] { m_generator->HandleTagDeclDefinition(tag); });
}

void ProgramConsumer::HandleTagDeclRequiredDefinition(const clang::TagDecl* tag) {
    tellGenerator([=, this] { m_generator->HandleTagDeclRequiredDefinition(tag); });
}

void ProgramConsumer::HandleCXXStaticMemberVarInstantiation(clang::VarDecl* variable) {
    tellGenerator([=, this] { m_generator->HandleCXXStaticMemberVarInstantiation(variable); });
}

void ProgramConsumer::CompleteTentativeDefinition(clang::VarDecl* variable) {
    tellGenerator([=, this] { m_generator->CompleteTentativeDefinition(variable); });
}

void ProgramConsumer::tellGenerator(std::function<void()> message) {
    if (m_generating)
        message();
    else
        m_deferred.push_back(std::move(message));
}

bool ProgramConsumer::hasErrors() const {
    return m_compiler.getDiagnostics().hasErrorOccurred();
}

void ProgramConsumer::HandleTranslationUnit(clang::ASTContext& context) {
    if (hasErrors())
        return;
    checkRestrictions(*m_sema, m_topLevel);
    const Reflection reflection = reflect(*m_sema, m_topLevel);
    if (hasErrors())
        return;
    warnOfLikelyMistakes(*m_sema, m_topLevel);
    hideUndefinedOperands(*m_sema, m_topLevel);
    generate(context, reflection);
}

void ProgramConsumer::generate(clang::ASTContext& context, const Reflection& reflection) {
    AddressSpaces::end(m_compiler.getLangOpts());
    m_generating = true;
    for (const auto& tell : m_deferred)
        tell();
    for (const auto& kernel : reflection.kernels) // static ones too, which nobody calls
        (void)m_generator->GetAddrOfGlobal(clang::GlobalDecl(kernel.function), false);
    m_generator->HandleTranslationUnit(context);
    if (hasErrors() || m_generator->GetModule() == nullptr)
        return;
    finishModule(*m_sema, *m_generator, reflection, m_result);
    if (!hasErrors())
        m_result.module.reset(m_generator->ReleaseModule());
}

} // namespace compute::metal
