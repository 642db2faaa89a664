// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/metal/CallAdvice.h"

#include "compute/metal/Advice.h"

#include <clang/AST/ASTContext.h>
#include <clang/AST/Decl.h>
#include <clang/AST/DeclTemplate.h>
#include <clang/AST/PrettyPrinter.h>
#include <clang/Basic/DiagnosticSema.h>
#include <clang/Lex/Lexer.h>
#include <clang/Sema/Sema.h>

#include <algorithm>
#include <array>
#include <string_view>

namespace compute::metal {
namespace {

using clang::Diagnostic;
using clang::DiagnosticsEngine;

/// As many as somebody reads.
constexpr std::size_t mostCandidates = 3;

/// Parameters of library functions by their meaning, where the library only counts them: a, b, c.
struct Parameters {
    std::string_view function;
    std::string_view names; ///< separated by blanks
};
constexpr std::array parameters{
    Parameters{"mix", "x y amount"},
    Parameters{"clamp", "x low high"},
    Parameters{"smoothstep", "edge0 edge1 x"},
    Parameters{"step", "edge x"},
    Parameters{"pow", "x exponent"},
    Parameters{"powr", "x exponent"},
    Parameters{"fmod", "x divisor"},
    Parameters{"atan2", "y x"},
    Parameters{"select", "ifFalse ifTrue condition"},
    Parameters{"reflect", "direction normal"},
    Parameters{"refract", "direction normal ratio"},
};

std::string nameOfParameter(const clang::FunctionDecl& function, unsigned number) {
    const auto* known =
        std::ranges::find(parameters, std::string_view(function.getName()), &Parameters::function);
    if (known == parameters.end() ||
        !function.getASTContext().getSourceManager().isInSystemHeader(function.getLocation()))
        return function.getParamDecl(number)->getNameAsString();
    llvm::StringRef names(known->names.data(), known->names.size());
    for (; number > 0; --number)
        names = names.split(' ').second;
    return names.split(' ').first.str();
}

bool isIn(unsigned id, std::initializer_list<unsigned> ids) {
    return std::ranges::find(ids, id) != ids.end();
}

/// Clang keeps arguments of all kinds as numbers.
void* pointerIn(const Diagnostic& diagnostic, unsigned argument) {
    // NOLINTNEXTLINE(performance-no-int-to-ptr): that is how it was handed over
    return reinterpret_cast<void*>(diagnostic.getRawArg(argument));
}

clang::QualType typeIn(const Diagnostic& diagnostic, unsigned argument) {
    if (diagnostic.getNumArgs() <= argument ||
        diagnostic.getArgKind(argument) != DiagnosticsEngine::ak_qualtype)
        return {};
    return clang::QualType::getFromOpaquePtr(pointerIn(diagnostic, argument));
}

std::optional<unsigned> numberIn(const Diagnostic& diagnostic, unsigned argument) {
    if (diagnostic.getNumArgs() <= argument)
        return std::nullopt;
    switch (diagnostic.getArgKind(argument)) {
    case DiagnosticsEngine::ak_sint:
        return static_cast<unsigned>(diagnostic.getArgSInt(argument));
    case DiagnosticsEngine::ak_uint:
        return static_cast<unsigned>(diagnostic.getArgUInt(argument));
    default:
        return std::nullopt;
    }
}

const clang::NamedDecl* declarationIn(const Diagnostic& diagnostic, unsigned argument) {
    if (diagnostic.getNumArgs() <= argument ||
        diagnostic.getArgKind(argument) != DiagnosticsEngine::ak_nameddecl)
        return nullptr;
    return static_cast<const clang::NamedDecl*>(pointerIn(diagnostic, argument));
}

/// What else to say of a function that is called wrongly, or of what is meant.
struct Remark {
    std::string_view function;
    std::string_view text;
};
constexpr std::array remarks{
    Remark{"rotate", "'rotate' moves the bits of whole numbers; a point turns around 0 as in "
                     "float2x2(cos(a), sin(a), -sin(a), cos(a)) * p"},
    Remark{"atan", "'atan' takes one number; the angle of a point is atan2(y, x)"},
    Remark{"cross",
           "'cross' takes two 'float3'; for points of a plane write a.x * b.y - a.y * b.x"},
};

/// A type's elements and how many there are: float and 3 of float3.
struct Shape {
    std::string element;
    char count = '1';
};

Shape shapeOf(const std::string& type) {
    const char last = type.empty() ? '\0' : type.back();
    if (last < '2' || last > '4')
        return {type, '1'};
    return {type.substr(0, type.size() - 1), last};
}

bool isNumber(const std::string& element) {
    constexpr std::array<std::string_view, 11> numbers{"float", "half", "int",   "uint",
                                                       "short", "long", "ulong", "ushort",
                                                       "uchar", "char", "bool"};
    return std::ranges::find(numbers, element) != numbers.end();
}

std::string article(const std::string& type) {
    return (std::string_view("aeiou").find(type.front()) != std::string_view::npos ? "an '"
                                                                                   : "a '") +
           type + "'";
}

std::string counted(unsigned count) {
    return std::to_string(count) + (count == 1 ? " argument" : " arguments");
}

} // namespace

std::optional<CallAdvice> CallAdvice::about(const Diagnostic& error, clang::Sema& sema) {
    auto advice = read(error, sema);
    if (advice)
        advice->m_place = error.getLocation();
    return advice;
}

std::optional<CallAdvice> CallAdvice::read(const Diagnostic& error, clang::Sema& sema) {
    const unsigned id = error.getID();
    if (isIn(id,
             {clang::diag::err_ovl_no_viable_function_in_call,
              clang::diag::err_ovl_no_viable_member_function_in_call,
              clang::diag::err_ovl_ambiguous_call, clang::diag::err_ovl_ambiguous_member_call})) {
        if (error.getNumArgs() == 0 || error.getArgKind(0) != DiagnosticsEngine::ak_declarationname)
            return std::nullopt;
        const bool isAmbiguous = id == clang::diag::err_ovl_ambiguous_call ||
                                 id == clang::diag::err_ovl_ambiguous_member_call;
        CallAdvice advice(isAmbiguous ? Fault::Ambiguous : Fault::Arguments, sema);
        const auto name = clang::DeclarationName::getFromOpaqueInteger(error.getRawArg(0));
        advice.m_name = name.getAsString();
        advice.findFunctions(name);
        return advice;
    }
    if (isIn(id, {clang::diag::err_typecheck_call_too_few_args,
                  clang::diag::err_typecheck_call_too_few_args_at_least,
                  clang::diag::err_typecheck_call_too_many_args,
                  clang::diag::err_typecheck_call_too_many_args_at_most})) {
        CallAdvice advice(Fault::Count, sema);
        advice.m_count = numberIn(error, 2);
        return advice;
    }
    if (isIn(id, {clang::diag::err_typecheck_call_too_few_args_one,
                  clang::diag::err_typecheck_call_too_few_args_at_least_one})) {
        CallAdvice advice(Fault::Count, sema);
        advice.m_count = 0;
        return advice;
    }
    if (isIn(id, {clang::diag::err_typecheck_call_too_many_args_one,
                  clang::diag::err_typecheck_call_too_many_args_at_most_one})) {
        CallAdvice advice(Fault::Count, sema);
        advice.m_count = numberIn(error, 2);
        return advice;
    }
    if (isIn(id, {clang::diag::err_typecheck_call_too_few_args_suggest,
                  clang::diag::err_typecheck_call_too_few_args_at_least_suggest,
                  clang::diag::err_typecheck_call_too_many_args_suggest,
                  clang::diag::err_typecheck_call_too_many_args_at_most_suggest})) {
        // Another function of the same name would do: the suggestion names it, with "::" in front.
        CallAdvice advice(Fault::Suggested, sema);
        llvm::SmallString<128> message;
        error.FormatDiagnostic(message);
        const llvm::StringRef name =
            llvm::StringRef(message).rsplit("mean '").second.split('\'').first.rsplit("::").second;
        advice.findFunctions(&sema.Context.Idents.get(name));
        for (const clang::FunctionDecl* function : advice.m_functions)
            advice.m_candidates.emplace_back(function);
        return advice;
    }
    if (id == clang::diag::err_typecheck_nonviable_condition ||
        id == clang::diag::err_init_conversion_failed) {
        const bool isClass = id == clang::diag::err_typecheck_nonviable_condition;
        CallAdvice advice(Fault::Parameter, sema);
        advice.m_from = typeIn(error, isClass ? 1 : 3);
        advice.m_to = typeIn(error, isClass ? 2 : 1);
        if (advice.m_from.isNull() || advice.m_to.isNull())
            return std::nullopt;
        return advice;
    }
    return std::nullopt;
}

// Overload resolution has just looked them up itself.
void CallAdvice::findFunctions(clang::DeclarationName name) {
    const auto lookIn = [&](const clang::DeclContext& context) {
        for (const clang::NamedDecl* found : context.lookup(name))
            if (const auto* function = found->getUnderlyingDecl()->getAsFunction())
                m_functions.push_back(function);
    };
    for (const clang::DeclContext* context = m_sema->CurContext; context != nullptr;
         context = context->getParent()) {
        if (!context->isTransparentContext() && !context->isFunctionOrMethod())
            lookIn(*context);
        for (const clang::UsingDirectiveDecl* directive : context->using_directives())
            lookIn(*directive->getNominatedNamespace());
    }
}

const clang::FunctionDecl* CallAdvice::functionAt(clang::SourceLocation location) const {
    const auto found = std::ranges::find(
        m_functions, location, [](const auto* function) { return function->getLocation(); });
    return found == m_functions.end() ? nullptr : *found;
}

bool CallAdvice::add(const Diagnostic& note) {
    if (m_fault == Fault::Parameter)
        return addParameter(note);
    if (m_fault == Fault::Suggested)
        return false;
    if (m_fault != Fault::Count)
        return addCandidate(note);
    const auto* declared = declarationIn(note, 0);
    if (note.getID() != clang::diag::note_callee_decl || declared == nullptr ||
        declared->getAsFunction() == nullptr)
        return false;
    m_name = declared->getNameAsString();
    m_candidates.emplace_back(declared->getAsFunction());
    return true;
}

bool CallAdvice::addCandidate(const Diagnostic& note) {
    Candidate candidate(functionAt(note.getLocation()));
    switch (note.getID()) {
    case clang::diag::note_ovl_candidate:
        break;
    case clang::diag::note_ovl_candidate_arity:
    case clang::diag::note_ovl_candidate_arity_one:
        candidate.takesAnotherCount = true;
        m_count = numberIn(note, 5);
        break;
    case clang::diag::note_ovl_candidate_bad_conv:
        if (const auto number = numberIn(note, 6); number && *number > 0) {
            candidate.wrongArgument = *number - 1;
            if (const clang::QualType given = typeIn(note, 3); !given.isNull())
                m_given.emplace(*number - 1, given);
        }
        break;
    case clang::diag::note_ovl_candidate_incomplete_deduction:
        candidate.needsTypeArgument = true;
        break;
    default:
        return false; // templates of the library that are not for this
    }
    if (candidate.function != nullptr)
        m_candidates.push_back(candidate);
    return true;
}

bool CallAdvice::addParameter(const Diagnostic& note) {
    if (note.getID() != clang::diag::note_parameter_named_here &&
        note.getID() != clang::diag::note_parameter_here)
        return false;
    // Functions of the text itself: those of the library have overloads, and other notes.
    for (const clang::DeclContext* context = m_sema->CurContext; context != nullptr;
         context = context->getParent())
        for (const clang::Decl* each : context->noload_decls()) {
            const auto* function = each->getAsFunction();
            if (function == nullptr)
                continue;
            const auto own = function->parameters();
            const auto found = llvm::find_if(own, [&](const clang::ParmVarDecl* each) {
                return each->getLocation() == note.getLocation();
            });
            if (found == own.end())
                continue;
            m_name = function->getNameAsString();
            m_parameter = (*found)->getNameAsString();
            m_candidates.emplace_back(function);
            return true;
        }
    return false;
}

/// A reference to a constant is how the library takes values.
std::string CallAdvice::nameOf(clang::QualType type) const {
    if (type->isReferenceType() && type->getPointeeType().isConstQualified())
        type = type->getPointeeType();
    clang::PrintingPolicy policy = m_sema->Context.getPrintingPolicy();
    policy.SuppressScope = true;
    if (!type->isPointerType() && !type->isReferenceType() && !type->isArrayType())
        type.removeLocalConst();
    return withLanguageNames(type.getAsString(policy));
}

std::string CallAdvice::signatureOf(const clang::FunctionDecl& function) const {
    std::string text;
    for (unsigned i = 0; i < function.getNumParams(); ++i) {
        const clang::ParmVarDecl& parameter = *function.getParamDecl(i);
        std::string type = nameOf(parameter.getType());
        if (type.ends_with(" *") || type.ends_with(" &"))
            type.erase(type.size() - 2, 1);
        text += (i == 0 ? "" : ", ") + type;
        if (const std::string name = nameOfParameter(function, i); !name.empty())
            text += " " + name;
        if (parameter.hasDefaultArg() && !parameter.hasUnparsedDefaultArg())
            text += " = " + clang::Lexer::getSourceText(clang::CharSourceRange::getTokenRange(
                                                            parameter.getDefaultArgRange()),
                                                        m_sema->SourceMgr, m_sema->getLangOpts())
                                .str();
    }
    return function.getNameAsString() + "(" + text + ")";
}

/// How well the arguments of which the types are known fit, by what people mix up.
int CallAdvice::fitOf(const Candidate& candidate) const {
    int fit = 0;
    bool isForHalves = false;
    for (const auto& [number, type] : m_given) {
        if (number >= candidate.function->getNumParams())
            continue;
        const std::string given = nameOf(type);
        const std::string wanted = nameOf(candidate.function->getParamDecl(number)->getType());
        const Shape from = shapeOf(given);
        const Shape to = shapeOf(wanted);
        if (given == wanted)
            fit += 4;
        else if (from.count == to.count && isNumber(from.element) && isNumber(to.element))
            fit += 2;
        else if (from.element == to.element)
            fit += 1;
        isForHalves |= to.element == "half" && from.element != "half";
    }
    if (m_given.empty() && candidate.function->getNumParams() > 0)
        isForHalves =
            shapeOf(nameOf(candidate.function->getParamDecl(0)->getType())).element == "half";
    return isForHalves ? fit - 2 : fit;
}

/// Whether the library has all functions that may be meant.
bool CallAdvice::isOfLibrary() const {
    const auto isFromLibrary = [&](const clang::FunctionDecl* function) {
        return m_sema->SourceMgr.isInSystemHeader(function->getLocation());
    };
    return !m_functions.empty() && llvm::all_of(m_functions, isFromLibrary);
}

std::vector<const CallAdvice::Candidate*> CallAdvice::bestCandidates() const {
    std::vector<const Candidate*> candidates;
    const bool someTakeThatCount = std::ranges::any_of(
        m_candidates, [](const Candidate& candidate) { return !candidate.takesAnotherCount; });
    for (const Candidate& candidate : m_candidates)
        if (!candidate.takesAnotherCount || !someTakeThatCount)
            candidates.push_back(&candidate);
    // What the library makes for all types at once cannot be told by its parameters.
    const auto isTemplateOfLibrary = [&](const Candidate* candidate) {
        return candidate->function->isTemplated() &&
               m_sema->SourceMgr.isInSystemHeader(candidate->function->getLocation());
    };
    std::erase_if(candidates, isTemplateOfLibrary);
    if (candidates.empty())
        return candidates;
    std::vector<int> fits;
    fits.reserve(candidates.size());
    for (const Candidate* candidate : candidates)
        fits.push_back(fitOf(*candidate));
    const int best = *std::ranges::max_element(fits);
    std::vector<const Candidate*> result;
    for (std::size_t i = 0; i < candidates.size() && result.size() < mostCandidates; ++i)
        if (fits[i] == best)
            result.push_back(candidates[i]);
    return result;
}

std::string CallAdvice::listOf(const std::vector<const Candidate*>& candidates) const {
    std::vector<std::string> texts;
    for (const Candidate* candidate : candidates)
        if (std::string text = signatureOf(*candidate->function);
            std::ranges::find(texts, text) == texts.end())
            texts.push_back(std::move(text));
    std::string list;
    for (std::size_t i = 0; i < texts.size(); ++i)
        list += (i == 0 ? "" : i + 1 == texts.size() ? " or " : ", ") + texts[i];
    return list;
}

std::string CallAdvice::wrongCount() const {
    const auto best = bestCandidates();
    if (best.empty() || !m_count)
        return {};
    return "'" + m_name +
           (*m_count == 0 ? "' needs arguments" : "' does not take " + counted(*m_count)) +
           "; write " + listOf(best);
}

std::string CallAdvice::wrongParameter() const {
    if (m_candidates.empty() || m_parameter.empty())
        return {};
    const std::string from = nameOf(m_from);
    const std::string to = nameOf(m_to);
    std::string text = "'" + m_parameter + "' must be " + article(to) + " and is " + article(from) +
                       ", in " + signatureOf(*m_candidates.front().function);
    if (to.starts_with("const char *"))
        text = "'" + m_parameter + "' must be a text in double quotation marks, in " +
               signatureOf(*m_candidates.front().function);
    return text;
}

std::string CallAdvice::wrongArguments() const {
    const auto best = bestCandidates();
    if (best.empty())
        return isOfLibrary() ? "'" + m_name + "' does not take arguments of these types"
                             : std::string();
    if (best.front()->needsTypeArgument)
        return "'" + m_name + "' needs the type of the value: write " + m_name +
               "<float>(...), or another type";
    if (best.front()->takesAnotherCount)
        return wrongCount();
    std::vector<std::string> types;
    for (const auto& given : m_given)
        if (std::string type = nameOf(given.second); std::ranges::find(types, type) == types.end())
            types.push_back(std::move(type));
    if (types.empty())
        return {};
    const clang::FunctionDecl& function = *best.front()->function;
    if (const auto wrongArgument = best.front()->wrongArgument;
        best.size() == 1 && wrongArgument && *wrongArgument < function.getNumParams()) {
        const unsigned wrong = *wrongArgument;
        return "'" + nameOfParameter(function, wrong) + "' must be " +
               article(nameOf(function.getParamDecl(wrong)->getType())) + " and is " +
               article(nameOf(m_given.at(wrong))) + ", in " + signatureOf(function);
    }
    std::string text = "'" + m_name + "' does not take ";
    for (std::size_t i = 0; i < types.size(); ++i)
        text += (i == 0 ? "" : i + 1 == types.size() ? " and " : ", ") + article(types[i]);
    text += std::string(types.size() == 1 ? " here" : " together") + "; write " + listOf(best);
    if (types.front() == "const char[2]")
        text += "; a single character stands in single quotation marks";
    return text;
}

const clang::FunctionDecl* CallAdvice::declaredBehind() const {
    for (const Candidate& candidate : m_candidates)
        if (m_sema->SourceMgr.isBeforeInTranslationUnit(m_place, candidate.function->getLocation()))
            return candidate.function;
    return nullptr;
}

std::string CallAdvice::message() const {
    const auto* remark = std::ranges::find(remarks, m_name, &Remark::function);
    if (remark != remarks.end() && isOfLibrary())
        return std::string(remark->text);
    switch (m_fault) {
    case Fault::Suggested:
        return {};
    case Fault::Count:
        return wrongCount();
    case Fault::Parameter:
        return wrongParameter();
    case Fault::Arguments:
        return wrongArguments();
    case Fault::Ambiguous:
        if (const auto best = bestCandidates(); !best.empty())
            return "'" + m_name + "' has more than one meaning for these types: " + listOf(best) +
                   "; write the type of an argument, as in float(x)";
        return {};
    }
    return {};
}

} // namespace compute::metal
