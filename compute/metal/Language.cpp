// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/metal/Language.h"

#include "compute/metal/EmbeddedHeaders.h"

#include <clang/Basic/IdentifierTable.h>
#include <clang/Frontend/CompilerInvocation.h>
#include <clang/Frontend/FrontendOptions.h>
#include <clang/Lex/PPCallbacks.h>
#include <clang/Lex/Preprocessor.h>
#include <clang/Lex/PreprocessorOptions.h>
#include <llvm/Support/MemoryBuffer.h>
#include <llvm/Support/VirtualFileSystem.h>

#include <cassert>

namespace compute::metal {
namespace {

constexpr const char* libraryFolder = "/library";
constexpr const char* precompiledName = "/library.pch";

/// Arguments as Clang's own driver would pass them to its compiler.
constexpr const char* options[] = {
    // spir64 passes every aggregate through memory, so that reflection alone tells how to call.
    "-triple", "spir64-unknown-unknown", "-emit-llvm", "-std=c++17", "-xc++",
    // Functions are made ready for optimising, but nothing runs here.
    "-O1", "-disable-llvm-passes", "-discard-value-names", "-disable-lifetime-markers",
    "-mconstructor-aliases", "-relaxed-aliasing", "-fno-builtin", "-mframe-pointer=none",
    // Numbers: float constants, wrapping integers, fast math that still knows NaN and infinity.
    "-cl-single-precision-constant", "-fwrapv", "-mreassociate", "-fno-signed-zeros",
    "-freciprocal-math", "-fapprox-func", "-ffp-contract=fast",
    // No undefined behaviour that a program could be optimised by.
    "-ftrivial-auto-var-init=zero", "-fno-finite-loops", "-fno-strict-float-cast-overflow",
    "-fno-strict-return", "-fno-delete-null-pointer-checks", "-fno-threadsafe-statics",
    // Parts of C++ that the language lacks. Exceptions are off unless asked for.
    "-fno-rtti", "-nostdsysteminc", "-nobuiltininc", "-fno-implicit-modules",
    "-fpch-instantiate-templates", "-fdeclspec",
    // Bounds on what a text can make the compiler do.
    "-ferror-limit",
    "5000", // of which few are shown (DiagnosticText.cpp)
    "-ftemplate-depth=256", "-fbracket-depth", "256", "-fconstexpr-depth=256",
    "-fconstexpr-steps=250000", "-ftemplate-backtrace-limit=4", "-fmacro-backtrace-limit=4",
    // Warnings that point at likely mistakes; none that only ask for tidying up.
    "-Wall", "-Wno-unused", "-Wunused-value", "-Wno-unknown-pragmas", "-Wno-missing-braces",
    "-Wno-duplicate-decl-specifier", "-Wno-c++11-narrowing", "-Wno-sign-compare",
    "-Wno-reserved-user-defined-literal", "-Wno-user-defined-literals", "-Wno-overlength-strings",
    "-Wno-undefined-inline", "-Wno-undefined-internal", "-Wno-stack-exhausted",
    "-Wno-extern-initializer", "-Wno-return-type-c-linkage", "-Wno-gnu-anonymous-struct",
    "-Wno-nested-anon-types", "-Wno-pragma-pack", "-Wno-vla-cxx-extension",
    "-Wno-misleading-indentation", "-Wno-implicit-const-int-float-conversion",
    "-Wno-pragma-clang-attribute",
    "-Wno-elaborated-enum-base", // what headers make, shared with host code, of enumerations
    // Functions that differ in an address space differ in name (AddressSpaces.h).
    "-faddress-space-map-mangling=no",
    // What texts ask to tell the language and its version from plain C++.
    "-D__METAL__=1", "-D__METAL_VERSION__=310", "-D__METAL_CPP__=1",
    // Words for memory and stages that need no meaning of their own (AddressSpaces.h), since stages
    // other than kernels do not run here.
    "-Dthread=",
    "-Dkernel=__sl42_kernel", // not the word of another language
    "-Dvertex=", "-Dfragment=", "-Dray_data=", "-Dobject_data=", "-Dthreadgroup_imageblock=",
    "-Dcoherent(scope)=", // and without a scope it is a keyword
};

/// Words of C++ that the language does not have. Refused as words, in any context.
constexpr const char* refusedWords[] = {"asm",
                                        "__asm",
                                        "__asm__",
                                        "catch",
                                        "co_await",
                                        "co_return",
                                        "co_yield",
                                        "double",
                                        "dynamic_cast",
                                        "new",
                                        "thread_local",
                                        "_Thread_local",
                                        "__thread",
                                        "throw",
                                        "try",
                                        "typeid",
                                        "virtual",
                                        "__int128",
                                        "__int128_t",
                                        "__uint128_t",
                                        "_BitInt",
                                        "_ExtInt",
                                        "__float128",
                                        "__bf16",
                                        "_Complex",
                                        "__complex",
                                        "__complex__",
                                        "_Atomic",
                                        "__builtin_va_list",
                                        "__builtin_va_arg"};

/// Likewise, but nothing behind them is read: they would make lists of any length.
constexpr const char* fatalWords[] = {"__make_integer_seq", "__type_pack_element"};

/// Words of the language that read as a word of Clang's (and see AddressSpaces.h). Clang hands the
/// word to the attribute of the same name (Attributes.h).
struct Synonym {
    const char* word;
    clang::tok::TokenKind meaning;
};
constexpr Synonym synonyms[] = {
    {"__sl42_kernel", clang::tok::kw___w64},
    {"coherent", clang::tok::kw___w64},
};

/// Refuses words of C++ in the program, while the library's own headers may use them.
class WordRefusal final : public clang::PPCallbacks {
public:
    explicit WordRefusal(clang::Preprocessor& preprocessor) : m_preprocessor(preprocessor) {
        explain(refusedWords, clang::DiagnosticsEngine::Error);
        explain(fatalWords, clang::DiagnosticsEngine::Fatal);
    }

    void FileChanged(clang::SourceLocation location, FileChangeReason,
                     clang::SrcMgr::CharacteristicKind, clang::FileID) override {
        const clang::SourceManager& sources = m_preprocessor.getSourceManager();
        const bool isProgram = sources.getFileID(location) == sources.getMainFileID();
        for (const auto words : {llvm::ArrayRef(refusedWords), llvm::ArrayRef(fatalWords)})
            for (const char* word : words)
                m_preprocessor.getIdentifierInfo(word)->setIsPoisoned(isProgram);
    }

private:
    void explain(llvm::ArrayRef<const char*> words, clang::DiagnosticsEngine::Level level) {
        const unsigned reason = m_preprocessor.getDiagnostics().getCustomDiagID(
            level, "%0 is not supported in this language");
        for (const char* word : words)
            m_preprocessor.SetPoisonReason(m_preprocessor.getIdentifierInfo(word), reason);
    }

    clang::Preprocessor& m_preprocessor;
};

} // namespace

const char* const librarySource = "#include <sl42_instances.h>\n";
std::shared_ptr<clang::CompilerInvocation> makeInvocation(clang::DiagnosticsEngine& diagnostics,
                                                          bool precompiled) {
    auto invocation = std::make_shared<clang::CompilerInvocation>();
    [[maybe_unused]] const bool understood =
        clang::CompilerInvocation::CreateFromArgs(*invocation, options, diagnostics);
    assert(understood);
    // Every instruction knows its line. None of this is for a debugger, so nothing else is kept.
    auto& generation = invocation->getCodeGenOpts();
    generation.setDebugInfo(llvm::codegenoptions::LocTrackingOnly);
    generation.DebugColumnInfo = false;
    invocation->getHeaderSearchOpts().AddPath(libraryFolder, clang::frontend::System, false, true);
    auto& preprocessor = invocation->getPreprocessorOpts();
    preprocessor.DisablePCHOrModuleValidation = clang::DisableValidationForModuleKind::All;
    if (precompiled)
        preprocessor.ImplicitPCHInclude = precompiledName;
    return invocation;
}

static FileSystem makeLibraryFiles(std::unique_ptr<llvm::MemoryBuffer> precompiled) {
    auto files = llvm::makeIntrusiveRefCnt<llvm::vfs::InMemoryFileSystem>();
    files->addFile(librarySourceName, 0, llvm::MemoryBuffer::getMemBuffer(librarySource));
    for (const EmbeddedHeader& header : embeddedHeaders()) {
        const std::string path = std::string(libraryFolder) + "/" + std::string(header.name);
        files->addFileNoOwn(path, 0, llvm::MemoryBufferRef(header.text, path));
    }
    if (precompiled)
        files->addFile(precompiledName, 0, std::move(precompiled));
    return files;
}

Library makeLibrary(std::unique_ptr<llvm::MemoryBuffer> precompiled) {
    return {.headers = makeLibraryFiles(nullptr),
            .precompiled = precompiled ? makeLibraryFiles(std::move(precompiled)) : nullptr};
}

FileSystem makeFileSystem(llvm::StringRef program, const Library& library) {
    auto file = llvm::makeIntrusiveRefCnt<llvm::vfs::InMemoryFileSystem>();
    file->addFile(sourceFileName, 0, llvm::MemoryBuffer::getMemBufferCopy(program, sourceName));
    // The lower layer is only read; the upper one would be changed.
    auto files = llvm::makeIntrusiveRefCnt<llvm::vfs::OverlayFileSystem>(
        library.precompiled ? library.precompiled : library.headers);
    files->pushOverlay(std::move(file));
    return files;
}

void defineWords(clang::Preprocessor& preprocessor) {
    for (const Synonym& synonym : synonyms)
        preprocessor.getIdentifierInfo(synonym.word)->revertIdentifierToTokenID(synonym.meaning);
    preprocessor.addPPCallbacks(std::make_unique<WordRefusal>(preprocessor));
}

} // namespace compute::metal
