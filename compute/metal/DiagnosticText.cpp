// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/metal/DiagnosticText.h"

#include "compute/metal/AddressSpaces.h"
#include "compute/metal/Advice.h"
#include "compute/metal/Attributes.h"

#include <clang/AST/ASTContext.h>
#include <clang/AST/ASTDiagnostic.h>
#include <clang/Basic/DiagnosticIDs.h>
#include <clang/Basic/DiagnosticOptions.h>
#include <clang/Basic/DiagnosticParse.h>
#include <clang/Basic/DiagnosticSema.h>
#include <clang/Basic/SourceManager.h>
#include <clang/Sema/Sema.h>

namespace compute::metal {
namespace {

using Level = clang::DiagnosticsEngine::Level;

/// More than anybody reads, and little enough to show in a window.
constexpr std::size_t largestText = 100'000;

/// Notes that list what else the compiler tried. With a library of overloads they bury the error.
bool isCandidateNote(unsigned id) {
    switch (id) {
    case clang::diag::note_ovl_candidate:
    case clang::diag::note_ovl_candidate_arity:
    case clang::diag::note_ovl_candidate_arity_one:
    case clang::diag::note_ovl_candidate_bad_conv:
    case clang::diag::note_ovl_candidate_bad_arc_conv:
    case clang::diag::note_ovl_candidate_bad_base_to_derived_conv:
    case clang::diag::note_ovl_candidate_bad_cvr:
    case clang::diag::note_ovl_candidate_bad_cvr_this:
    case clang::diag::note_ovl_candidate_bad_deduction:
    case clang::diag::note_ovl_candidate_bad_list_argument:
    case clang::diag::note_ovl_candidate_bad_value_category:
    case clang::diag::note_ovl_candidate_deleted:
    case clang::diag::note_ovl_candidate_incomplete_deduction:
    case clang::diag::note_ovl_candidate_inconsistent_deduction:
    case clang::diag::note_ovl_candidate_substitution_failure:
    case clang::diag::note_ovl_candidate_disabled_by_enable_if:
    case clang::diag::note_ovl_builtin_candidate:
    case clang::diag::note_ovl_too_many_candidates:
    case clang::diag::note_template_arg_refers_here_func:
        return true;
    default:
        return false;
    }
}

/// Notes that name an option of the compiler's command line, which nobody here can set.
bool isOptionNote(unsigned id) {
    return id == clang::diag::note_bracket_depth ||
           id == clang::diag::note_template_recursion_depth;
}

bool isInProgram(const clang::SourceManager& sources, clang::SourceLocation location) {
    return location.isValid() &&
           sources.getFileID(sources.getSpellingLoc(location)) == sources.getMainFileID();
}

/// Prints types as the program spells them. Clang's own function would add what an alias stands
/// for, and would print two vectors as the difference between them.
void formatArgument(clang::DiagnosticsEngine::ArgumentKind kind, std::intptr_t value,
                    llvm::StringRef modifier, llvm::StringRef argument,
                    llvm::ArrayRef<clang::DiagnosticsEngine::ArgumentValue> previous,
                    llvm::SmallVectorImpl<char>& output, void* cookie,
                    llvm::ArrayRef<std::intptr_t> qualTypes) {
    if (kind == clang::DiagnosticsEngine::ak_qualtype_pair) {
        const auto& pair = *reinterpret_cast<clang::TemplateDiffTypes*>(value);
        value = pair.PrintFromType ? pair.FromType : pair.ToType;
        kind = clang::DiagnosticsEngine::ak_qualtype;
    }
    if (kind != clang::DiagnosticsEngine::ak_qualtype)
        return clang::FormatASTNodeDiagnosticArgument(kind, value, modifier, argument, previous,
                                                      output, cookie, qualTypes);
    const auto& context = *static_cast<clang::ASTContext*>(cookie);
    const auto type = clang::QualType::getFromOpaquePtr(reinterpret_cast<void*>(value));
    const std::string text =
        "'" + spellAddressSpaces(type.getAsString(context.getPrintingPolicy())) + "'";
    output.append(text.begin(), text.end());
}

/// The text from the place that a diagnostic points to.
llvm::StringRef sourceAt(const clang::Diagnostic& diagnostic) {
    if (!diagnostic.hasSourceManager() || diagnostic.getLocation().isInvalid())
        return {};
    bool isInvalid = false;
    const char* text =
        diagnostic.getSourceManager().getCharacterData(diagnostic.getLocation(), &isInvalid);
    return isInvalid ? llvm::StringRef() : llvm::StringRef(text);
}

std::string counted(unsigned number, const char* noun) {
    return std::to_string(number) + " " + noun + (number == 1 ? "" : "s");
}

} // namespace

DiagnosticText::DiagnosticText(Reader reader)
    : m_reader(reader), m_options(new clang::DiagnosticOptions) {
    m_options->ShowColors = false;
    m_options->ShowFixits = false;
    m_options->ShowPresumedLoc = true;
    m_options->MacroBacktraceLimit = 4;
    m_options->SnippetLineLimit = 1;
}

void DiagnosticText::setSema(clang::Sema* sema) {
    m_sema = sema;
    if (sema != nullptr)
        sema->Diags.SetArgToStringFn(&formatArgument, &sema->Context);
}

void DiagnosticText::BeginSourceFile(const clang::LangOptions& options,
                                     const clang::Preprocessor* preprocessor) {
    m_printer =
        std::make_unique<clang::TextDiagnostic>(m_stream, options, m_options.get(), preprocessor);
}

void DiagnosticText::EndSourceFile() {
    m_printer.reset();
}

std::string DiagnosticText::text() const {
    if (NumErrors + NumWarnings == 0)
        return {};
    std::string summary = NumWarnings > 0 ? counted(NumWarnings, "warning") : std::string();
    if (NumErrors > 0)
        summary += (summary.empty() ? "" : " and ") + counted(NumErrors, "error");
    return m_text + summary + " generated.\n";
}

void DiagnosticText::HandleDiagnostic(Level level, const clang::Diagnostic& diagnostic) {
    const clang::SourceLocation location = userLocation(diagnostic);
    const bool wanted = isWanted(level, diagnostic, location);
    if (level != Level::Note)
        m_lastWasDropped = !wanted;
    if (!wanted)
        return;
    if (level >= Level::Error)
        m_lastError = location;
    DiagnosticConsumer::HandleDiagnostic(level, diagnostic);
    if (m_text.size() < largestText)
        print(level, diagnostic, location);
}

bool DiagnosticText::isWanted(Level level, const clang::Diagnostic& diagnostic,
                              clang::SourceLocation location) {
    if (level == Level::Ignored || level == Level::Remark)
        return false;
    if (level == Level::Note)
        return !m_lastWasDropped && !isCandidateNote(diagnostic.getID()) &&
               !isOptionNote(diagnostic.getID()) && diagnostic.hasSourceManager() &&
               isInProgram(diagnostic.getSourceManager(), diagnostic.getLocation()) &&
               location.isValid();
    if (level >= Level::Error && location.isValid() && location == m_lastError)
        return false; // what follows from an error is said at the same place
    if (diagnostic.getID() == clang::diag::warn_unknown_attribute_ignored) {
        llvm::SmallString<64> message;
        diagnostic.FormatDiagnostic(message);
        // Worded: unknown attribute 'name' ignored.
        const llvm::StringRef name = llvm::StringRef(message).split('\'').second.split('\'').first;
        return !isIgnoredAttribute(name);
    }
    if (diagnostic.getID() == clang::diag::warn_attribute_not_on_decl) {
        llvm::SmallString<64> message;
        diagnostic.FormatDiagnostic(message);
        return !llvm::StringRef(message).starts_with("'threadgroup'"); // where a cast points
    }
    return true;
}

/// Where the person who wrote the program can do something about it; invalid if nowhere.
clang::SourceLocation DiagnosticText::userLocation(const clang::Diagnostic& diagnostic) const {
    clang::SourceLocation location = diagnostic.getLocation();
    if (!diagnostic.hasSourceManager() || location.isInvalid())
        return {};
    if (m_reader == Reader::Library)
        return location;
    const clang::SourceManager& sources = diagnostic.getSourceManager();
    // A macro of the library's is shown where the program uses it, one of the program's as it is.
    while (location.isMacroID() && !isInProgram(sources, location))
        location = sources.getImmediateMacroCallerLoc(location);
    if (isInProgram(sources, location))
        return location;
    if (const auto instantiation = instantiationInProgram(sources); instantiation.isValid())
        return instantiation;
    // Otherwise the line that includes the file.
    while (location.isValid() && !isInProgram(sources, location))
        location = sources.getIncludeLoc(sources.getFileID(sources.getExpansionLoc(location)));
    return location;
}

clang::SourceLocation
DiagnosticText::instantiationInProgram(const clang::SourceManager& sources) const {
    if (m_sema == nullptr)
        return {};
    for (const auto& context : llvm::reverse(m_sema->CodeSynthesisContexts)) {
        const clang::SourceLocation point = sources.getExpansionLoc(context.PointOfInstantiation);
        if (isInProgram(sources, point))
            return point;
    }
    return {};
}

void DiagnosticText::print(Level level, const clang::Diagnostic& diagnostic,
                           clang::SourceLocation location) {
    llvm::SmallString<256> formatted;
    diagnostic.FormatDiagnostic(formatted);
    std::string message = advise(diagnostic.getID(), std::string(formatted), sourceAt(diagnostic));
    const llvm::StringRef option =
        clang::DiagnosticIDs::getWarningOptionForDiag(diagnostic.getID());
    if (level == Level::Warning && !option.empty())
        message += (" [-W" + option + "]").str();
    if (m_printer == nullptr || !diagnostic.hasSourceManager()) {
        clang::TextDiagnostic::printDiagnosticLevel(m_stream, level, false);
        m_stream << message << '\n';
        return;
    }
    llvm::SmallVector<clang::CharSourceRange, 4> ranges;
    for (const clang::CharSourceRange& range : diagnostic.getRanges())
        if (isInProgram(diagnostic.getSourceManager(), range.getBegin()) &&
            isInProgram(diagnostic.getSourceManager(), range.getEnd()))
            ranges.push_back(range);
    m_printer->emitDiagnostic(clang::FullSourceLoc(location, diagnostic.getSourceManager()), level,
                              message, ranges, {}, &diagnostic);
}

} // namespace compute::metal
