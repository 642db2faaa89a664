// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Turns Clang's diagnostics into the text that a person reads: one message on the person's own
// line, types spelled as the language spells them, and no notes about the inside of the library.
#pragma once

#include "compute/metal/CallAdvice.h"

#include <clang/Basic/Diagnostic.h>
#include <clang/Frontend/TextDiagnostic.h>
#include <llvm/Support/raw_ostream.h>

#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace clang {
class Sema;
} // namespace clang

namespace compute::metal {

class DiagnosticText final : public clang::DiagnosticConsumer {
public:
    /// `Library` is for those who work on the library: faults inside it are shown as they are.
    enum class Reader { Programmer, Library };
    explicit DiagnosticText(Reader reader = Reader::Programmer);

    /// Lets messages inside the library's templates be moved to the line that instantiates them.
    void setSema(clang::Sema* sema);

    /// Everything so far, closed by a line such as "1 error generated."; empty if there is nothing.
    std::string text() const;
    bool hasErrors() const { return NumErrors > 0; }

    void BeginSourceFile(const clang::LangOptions& options,
                         const clang::Preprocessor* preprocessor) override;
    void EndSourceFile() override;
    void HandleDiagnostic(clang::DiagnosticsEngine::Level level,
                          const clang::Diagnostic& diagnostic) override;

private:
    bool isWanted(clang::DiagnosticsEngine::Level level, const clang::Diagnostic& diagnostic,
                  clang::SourceLocation location);
    clang::SourceLocation userLocation(const clang::Diagnostic& diagnostic) const;
    clang::SourceLocation instantiationInProgram(const clang::SourceManager& sources) const;
    bool isRepeated(const clang::Diagnostic& diagnostic);
    bool isOnLastLine(clang::SourceLocation location) const;
    /// A message as it is going to be printed, once the notes behind it are known that belong to
    /// it.
    struct Message {
        clang::DiagnosticsEngine::Level level = clang::DiagnosticsEngine::Ignored;
        std::string text;
        clang::FullSourceLoc location; ///< invalid when there is no place
        std::vector<clang::CharSourceRange> ranges;
    };
    Message messageOf(clang::DiagnosticsEngine::Level level, const clang::Diagnostic& diagnostic,
                      clang::SourceLocation location) const;
    std::optional<Message> hidingVariable(const clang::Diagnostic& diagnostic) const;
    Message declarationNote(const clang::NamedDecl& declaration) const;
    void print(const Message& message);
    void printPending();

    const Reader m_reader;
    std::string m_text;
    llvm::raw_string_ostream m_stream{m_text};
    llvm::IntrusiveRefCntPtr<clang::DiagnosticOptions> m_options;
    std::unique_ptr<clang::TextDiagnostic> m_printer;
    clang::Sema* m_sema = nullptr;
    clang::SourceLocation m_lastError;
    bool m_lastWasDropped = false;
    std::optional<Message> m_pending;
    std::optional<CallAdvice> m_call; ///< of the pending message
    std::optional<Message> m_note;    ///< of our own, behind it
    unsigned m_warnings = 0;
    unsigned m_hiddenErrors = 0;
    std::set<std::string> m_unknownNames;
};

} // namespace compute::metal
