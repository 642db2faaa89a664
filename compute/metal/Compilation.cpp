// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/metal/Compilation.h"

#include "compute/metal/Attributes.h"
#include "compute/metal/DiagnosticText.h"
#include "compute/metal/Frontend.h"
#include "compute/metal/InputLimits.h"
#include "compute/metal/ProgramConsumer.h"

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

/// Far more than anybody types; a song or picture packed into a table still fits.
constexpr std::size_t largestSource = 4'000'000;

class CompileAction final : public clang::ASTFrontendAction {
public:
    CompileAction(kernel::Program& result, const std::stop_token& stop)
        : m_result(result), m_stop(stop) {}

protected:
    bool BeginSourceFileAction(clang::CompilerInstance& compiler) override {
        defineWords(compiler.getPreprocessor());
        limitInput(compiler.getPreprocessor(), m_stop);
        return true;
    }
    std::unique_ptr<clang::ASTConsumer> CreateASTConsumer(clang::CompilerInstance& compiler,
                                                          llvm::StringRef) override {
        return std::make_unique<ProgramConsumer>(compiler, m_result, m_stop);
    }

private:
    kernel::Program& m_result;
    const std::stop_token& m_stop;
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

/// Runs `action` over `source` with nothing to read but that and the library's files.
void run(clang::FrontendAction& action, const Source& source, DiagnosticText& diagnostics,
         const Library& library) {
    registerAttributes();
    clang::CompilerInstance compiler;
    compiler.createDiagnostics(&diagnostics, /*ShouldOwnClient=*/false);
    compiler.setInvocation(
        makeInvocation(compiler.getDiagnostics(), source, library.precompiled != nullptr));
    // Once more, because the options for diagnostics are part of the invocation.
    compiler.createDiagnostics(&diagnostics, /*ShouldOwnClient=*/false);
    compiler.createFileManager(makeFileSystem(source, library));
    compiler.createSourceManager(compiler.getFileManager());
    compiler.setVerboseOutputStream(std::make_unique<llvm::raw_null_ostream>());
    compiler.ExecuteAction(action);
}

void runOnLargeStack(Stack stack, llvm::function_ref<void()> task) {
    if (stack == Stack::OfThisThread)
        return task();
    llvm::thread(std::optional(unsigned(stackBytes)), [task] { task(); }).join();
}

/// Programs that name no header of the library should not see its contents.
bool includesLibrary(llvm::StringRef source) {
    return source.contains("<metal_") || source.contains("<simd/");
}

platform::Result<kernel::Program> compileHere(llvm::StringRef source, Library library,
                                              const std::stop_token& stop) {
    if (!includesLibrary(source))
        library.precompiled = nullptr;
    kernel::Program program;
    program.context = std::make_unique<llvm::LLVMContext>();
    DiagnosticText diagnostics;
    CompileAction action(program, stop);
    run(action, {sourceName, source}, diagnostics, library);
    if (diagnostics.hasErrors() || program.module == nullptr)
        return platform::Error{diagnostics.text()};
    program.warnings = diagnostics.text();
    return program;
}

} // namespace

std::string compilerIdentity() {
    return clang::getClangFullVersion();
}

Library makeLibrary(std::string_view precompiled, std::string_view compiler) {
    if (compiler != compilerIdentity())
        return makeLibrary(std::nullopt);
    return makeLibrary(llvm::MemoryBufferRef(precompiled, "library.pch"));
}

platform::Result<kernel::Program> compile(std::string_view source, const Library& library,
                                          const std::stop_token& stop, Stack stack) {
    if (source.size() > largestSource)
        return platform::Error{std::string(sourceName) + ":1:1: error: program of " +
                               std::to_string(source.size()) + " bytes is larger than " +
                               std::to_string(largestSource) + " bytes\n1 error generated.\n"};
    platform::Result<kernel::Program> result = platform::Error{};
    runOnLargeStack(stack, [&] { result = compileHere(source, library, stop); });
    return result;
}

platform::Result<std::string> precompileLibrary() {
    DiagnosticText diagnostics(DiagnosticText::Reader::Library);
    PrecompileAction action;
    runOnLargeStack(Stack::OfAnotherThread, [&] {
        run(action, {librarySourceName, librarySource}, diagnostics, makeLibrary(std::nullopt));
    });
    if (diagnostics.hasErrors() || !action.isComplete())
        return platform::Error{diagnostics.text()};
    return action.take();
}

} // namespace compute::metal
