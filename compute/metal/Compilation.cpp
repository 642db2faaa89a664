// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/metal/Compilation.h"

#include "compute/metal/AddressSpaces.h"
#include "compute/metal/Attributes.h"
#include "compute/metal/BfloatLiterals.h"
#include "compute/metal/DiagnosticText.h"
#include "compute/metal/InputLimits.h"
#include "compute/metal/InstantiationAttributes.h"
#include "compute/metal/LineMarkers.h"
#include "compute/metal/Pragmas.h"
#include "compute/metal/ProgramConsumer.h"
#include "compute/metal/TextLimits.h"

#include <clang/Basic/Version.h>
#include <clang/Frontend/CompilerInstance.h>
#include <clang/Frontend/CompilerInvocation.h>
#include <clang/Frontend/FrontendAction.h>
#include <clang/Lex/Preprocessor.h>
#include <clang/Serialization/ASTWriter.h>
#include <clang/Serialization/InMemoryModuleCache.h>
#include <llvm/Support/VirtualFileSystem.h>
#include <llvm/Support/thread.h>

#include <optional>

namespace compute::metal {
namespace {

class CompileAction final : public clang::ASTFrontendAction {
public:
    CompileAction(kernel::Program& result, const std::stop_token& stop)
        : m_result(result), m_stop(stop) {}

protected:
    bool BeginSourceFileAction(clang::CompilerInstance& compiler) override {
        clang::Preprocessor& preprocessor = compiler.getPreprocessor();
        defineWords(preprocessor);
        m_spaces = std::make_unique<AddressSpaces>(preprocessor);
        limitInput(
            preprocessor, m_stop,
            [&preprocessor, &spaces = *m_spaces,
             instantiation = InstantiationAttributes(preprocessor)](clang::Token& token) mutable {
                instantiation.watch(token);
                spaces.watch(token);
                readBfloatLiteral(token, preprocessor);
            });
        guardPragmas(preprocessor);
        ignoreLineMarkers(preprocessor);
        return true;
    }
    std::unique_ptr<clang::ASTConsumer> CreateASTConsumer(clang::CompilerInstance& compiler,
                                                          llvm::StringRef) override {
        return std::make_unique<ProgramConsumer>(compiler, *m_spaces, m_result, m_stop);
    }
    void ExecuteAction() override {
        m_spaces->begin(getCompilerInstance().getLangOpts());
        ASTFrontendAction::ExecuteAction();
    }

private:
    kernel::Program& m_result;
    const std::stop_token& m_stop;
    std::unique_ptr<AddressSpaces> m_spaces;
};

class PrecompileAction final : public clang::ASTFrontendAction {
public:
    std::string take() const { return {m_buffer->Data.begin(), m_buffer->Data.end()}; }
    bool isComplete() const { return m_buffer->IsComplete; }

protected:
    bool BeginSourceFileAction(clang::CompilerInstance& compiler) override {
        defineWords(compiler.getPreprocessor());
        return true;
    }
    std::unique_ptr<clang::ASTConsumer> CreateASTConsumer(clang::CompilerInstance& compiler,
                                                          llvm::StringRef) override {
        return std::make_unique<clang::PCHGenerator>(
            compiler.getPreprocessor(), compiler.getModuleCache(), "library.pch", "", m_buffer,
            llvm::ArrayRef<std::shared_ptr<clang::ModuleFileExtension>>(), false, false);
    }
    clang::TranslationUnitKind getTranslationUnitKind() override { return clang::TU_Prefix; }

private:
    std::shared_ptr<clang::PCHBuffer> m_buffer = std::make_shared<clang::PCHBuffer>();
};

/// What Clang's own ExecuteAction() does, except that it does not tell how small a stack may be:
/// Clang would go on in threads of its own, with stacks too small for what InputLimits.h lets pass,
/// and nobody would know whose faults theirs are.
void execute(clang::CompilerInstance& compiler, clang::FrontendAction& action) {
    if (!action.PrepareToExecute(compiler) || !compiler.createTarget() ||
        !action.BeginSourceFile(compiler, compiler.getFrontendOpts().Inputs.front()))
        return;
    llvm::consumeError(action.Execute()); // it has been reported
    action.EndSourceFile();
}

/// A file, and the text of the program's.
struct Input {
    const char* name;
    llvm::StringRef program;
};

/// Runs `action` over one file with nothing to read but that and the library's.
void run(clang::FrontendAction& action, const Input& input, DiagnosticText& diagnostics,
         const Library& library) {
    registerAttributes();
    clang::CompilerInstance compiler;
    compiler.createDiagnostics(&diagnostics, /*ShouldOwnClient=*/false);
    compiler.setInvocation(
        makeInvocation(compiler.getDiagnostics(), library.precompiled != nullptr));
    compiler.getFrontendOpts().Inputs = {{input.name, clang::InputKind(clang::Language::CXX)}};
    // Once more, because the options for diagnostics are part of the invocation.
    compiler.createDiagnostics(&diagnostics, /*ShouldOwnClient=*/false);
    compiler.createFileManager(makeFileSystem(input.program, library));
    compiler.createSourceManager(compiler.getFileManager());
    compiler.setVerboseOutputStream(std::make_unique<llvm::raw_null_ostream>());
    execute(compiler, action);
}

/// Programs that name no header of the library should not see its contents.
bool includesLibrary(llvm::StringRef source) {
    return source.contains("<metal_") || source.contains("<simd/");
}

} // namespace

std::string compilerIdentity() {
    return clang::getClangFullVersion();
}

Library makeLibrary(std::string_view precompiled, std::string_view compiler) {
    if (compiler == compilerIdentity())
        return makeLibrary(llvm::MemoryBuffer::getMemBuffer(precompiled, "", false));
    const auto made = precompileLibrary();
    return makeLibrary(made ? llvm::MemoryBuffer::getMemBufferCopy(*made) : nullptr);
}

void runOnLargeStack(llvm::function_ref<void()> task) {
    llvm::thread(std::optional(unsigned(stackBytes)), [task] { task(); }).join();
}

platform::Result<kernel::Program> compile(std::string_view source, Library library,
                                          const std::stop_token& stop) {
    if (const auto fault = findTextFault(source))
        return platform::Error{std::string(sourceName) + ":1:1: error: " + *fault +
                               "\n1 error generated.\n"};
    if (!includesLibrary(source))
        library.precompiled = nullptr;
    kernel::Program program;
    program.context = std::make_unique<llvm::LLVMContext>();
    DiagnosticText diagnostics;
    CompileAction action(program, stop);
    const std::string text = translateMathPragmas(source);
    run(action, {sourceFileName, text}, diagnostics, library);
    if (diagnostics.hasErrors() || program.module == nullptr)
        return platform::Error{diagnostics.text()};
    program.warnings = diagnostics.text();
    return program;
}

platform::Result<std::string> precompileLibrary() {
    DiagnosticText diagnostics(DiagnosticText::Reader::Library);
    PrecompileAction action;
    runOnLargeStack(
        [&] { run(action, {librarySourceName, {}}, diagnostics, makeLibrary(nullptr)); });
    if (diagnostics.hasErrors() || !action.isComplete())
        return platform::Error{diagnostics.text()};
    return action.take();
}

} // namespace compute::metal
