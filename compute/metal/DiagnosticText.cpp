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
#include <clang/Lex/Preprocessor.h>
#include <clang/Sema/Sema.h>

#include <utility>

namespace compute::metal {
namespace {

using Level = clang::DiagnosticsEngine::Level;

/// More than anybody reads, and little enough to show in a window.
constexpr std::size_t largestText = 100'000;

/// More are counted and not shown; the compiler gives up when there are thousands (Language.cpp).
constexpr unsigned mostErrors = 20;

/// So many that those at the end of a long program are not read anyway.
constexpr unsigned mostWarnings = 20;

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

/// Notes that name an option of the compiler's command line, which nobody here can set, or that
/// tell how to keep what a warning is about.
bool isOptionNote(unsigned id) {
    switch (id) {
    case clang::diag::note_bracket_depth:
    case clang::diag::note_template_recursion_depth:
    case clang::diag::note_empty_body_on_separate_line:
    case clang::diag::note_condition_assign_silence:
    case clang::diag::note_condition_assign_to_comparison:
    case clang::diag::note_equality_comparison_silence:
    case clang::diag::note_equality_comparison_to_assign:
    case clang::diag::note_precedence_silence:
    case clang::diag::note_string_plus_scalar_silence:
        return true;
    default:
        return false;
    }
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

/// The line that a diagnostic points to, before and from the place.
SourceText sourceAt(const clang::Diagnostic& diagnostic) {
    if (!diagnostic.hasSourceManager() || diagnostic.getLocation().isInvalid())
        return {};
    const clang::SourceManager& sources = diagnostic.getSourceManager();
    const auto [file, offset] = sources.getDecomposedSpellingLoc(diagnostic.getLocation());
    const auto text = sources.getBufferDataOrNone(file);
    if (!text || offset > text->size())
        return {};
    const llvm::StringRef before = text->take_front(offset);
    const std::size_t begin = before.rfind('\n') + 1; // 0 when there is none
    return {before.drop_front(begin), text->drop_front(offset)};
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
    printPending();
    m_printer.reset();
}

std::string DiagnosticText::text() const {
    if (NumErrors + NumWarnings == 0)
        return {};
    std::string summary = NumWarnings > 0 ? counted(NumWarnings, "warning") : std::string();
    if (NumErrors > 0)
        summary += (summary.empty() ? "" : " and ") + counted(NumErrors, "error");
    const std::string hidden =
        m_hiddenErrors > 0 ? "error: and " + counted(m_hiddenErrors, "more error") + "\n" : "";
    return m_text + hidden + summary + " generated.\n";
}

void DiagnosticText::HandleDiagnostic(Level level, const clang::Diagnostic& diagnostic) {
    if (level == Level::Note && m_call && m_call->add(diagnostic))
        return;
    const clang::SourceLocation location = userLocation(diagnostic);
    const bool wanted = isWanted(level, diagnostic, location);
    if (level != Level::Note) {
        printPending();
        m_lastWasDropped = !wanted;
    }
    if (!wanted)
        return;
    if (level >= Level::Error)
        m_lastError = location;
    DiagnosticConsumer::HandleDiagnostic(level, diagnostic);
    printPending();
    if (level >= Level::Error && NumErrors > mostErrors) {
        ++m_hiddenErrors;
        m_lastWasDropped = true;
        return;
    }
    m_pending = messageOf(level, diagnostic, location);
    m_note = hidingVariable(diagnostic);
    if (level >= Level::Error && m_sema != nullptr && m_reader == Reader::Programmer)
        m_call = CallAdvice::about(diagnostic, *m_sema);
}

void DiagnosticText::printPending() {
    if (!m_pending)
        return;
    if (m_call) {
        if (std::string text = m_call->message(); !text.empty())
            m_pending->text = std::move(text);
        if (const clang::FunctionDecl* function = m_call->declaredBehind())
            m_note = declarationNote(*function);
    }
    m_call.reset();
    if (m_text.size() < largestText)
        print(*m_pending);
    m_pending.reset();
    if (m_note)
        print(*std::exchange(m_note, std::nullopt));
}

/// A variable that is called, because it has the name of a function: where it is declared.
std::optional<DiagnosticText::Message>
DiagnosticText::hidingVariable(const clang::Diagnostic& diagnostic) const {
    if (diagnostic.getID() != clang::diag::err_typecheck_call_not_function || m_sema == nullptr ||
        diagnostic.getNumRanges() == 0)
        return std::nullopt;
    const clang::SourceManager& sources = diagnostic.getSourceManager();
    llvm::SmallString<32> buffer;
    const llvm::StringRef name = m_sema->PP.getSpelling(
        sources.getSpellingLoc(diagnostic.getRanges().front().getBegin()), buffer);
    const auto* identifier = m_sema->Context.Idents.find(name) == m_sema->Context.Idents.end()
                                 ? nullptr
                                 : &m_sema->Context.Idents.get(name);
    if (identifier == nullptr)
        return std::nullopt;
    for (const clang::DeclContext* context = m_sema->CurContext; context != nullptr;
         context = context->getParent()) {
        if (context->isTransparentContext() || context->isFunctionOrMethod())
            continue;
        for (const clang::NamedDecl* found : context->lookup(identifier))
            if (isInProgram(sources, found->getLocation()))
                return declarationNote(*found);
    }
    return std::nullopt;
}

DiagnosticText::Message DiagnosticText::declarationNote(const clang::NamedDecl& declaration) const {
    return {Level::Note,
            "'" + declaration.getNameAsString() + "' declared here",
            clang::FullSourceLoc(declaration.getLocation(), m_sema->SourceMgr),
            {}};
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
    if (isRepeated(diagnostic))
        return false;
    if (diagnostic.getID() == clang::diag::err_expected_semi_for && isOnLastLine(location)) {
        m_lastError = location; // so that what else is wrong there does not show instead
        return false;
    }
    if (level == Level::Warning && isInProgram(diagnostic.getSourceManager(), location) &&
        ++m_warnings > mostWarnings)
        return false;
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

/// Whether there is an error on the same line already.
bool DiagnosticText::isOnLastLine(clang::SourceLocation location) const {
    if (m_sema == nullptr || location.isInvalid() || m_lastError.isInvalid())
        return false;
    const clang::SourceManager& sources = m_sema->SourceMgr;
    return sources.getExpansionLineNumber(location) == sources.getExpansionLineNumber(m_lastError);
}

/// A name that nobody knows is missing wherever it is used; once is enough.
bool DiagnosticText::isRepeated(const clang::Diagnostic& diagnostic) {
    if (diagnostic.getID() != clang::diag::err_undeclared_var_use)
        return false;
    llvm::SmallString<64> message;
    diagnostic.FormatDiagnostic(message);
    return !m_unknownNames.insert(std::string(message)).second;
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

DiagnosticText::Message DiagnosticText::messageOf(Level level, const clang::Diagnostic& diagnostic,
                                                  clang::SourceLocation location) const {
    llvm::SmallString<256> formatted;
    diagnostic.FormatDiagnostic(formatted);
    Message message{
        level, advise(diagnostic.getID(), std::string(formatted), sourceAt(diagnostic)), {}, {}};
    const llvm::StringRef option =
        clang::DiagnosticIDs::getWarningOptionForDiag(diagnostic.getID());
    if (level == Level::Warning && !option.empty())
        message.text += (" [-W" + option + "]").str();
    if (!diagnostic.hasSourceManager())
        return message;
    message.location = clang::FullSourceLoc(location, diagnostic.getSourceManager());
    for (const clang::CharSourceRange& range : diagnostic.getRanges())
        if (isInProgram(diagnostic.getSourceManager(), range.getBegin()) &&
            isInProgram(diagnostic.getSourceManager(), range.getEnd()))
            message.ranges.push_back(range);
    return message;
}

void DiagnosticText::print(const Message& message) {
    if (m_printer == nullptr || !message.location.hasManager()) {
        clang::TextDiagnostic::printDiagnosticLevel(m_stream, message.level, false);
        m_stream << message.text << '\n';
        return;
    }
    llvm::SmallVector<clang::CharSourceRange, 4> ranges(message.ranges.begin(),
                                                        message.ranges.end());
    m_printer->emitDiagnostic(message.location, message.level, message.text, ranges, {});
}

} // namespace compute::metal
