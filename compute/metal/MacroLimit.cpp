// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/metal/MacroLimit.h"

#include "compute/metal/Stop.h"

#include <clang/Lex/MacroArgs.h>
#include <clang/Lex/MacroInfo.h>
#include <clang/Lex/Preprocessor.h>

namespace compute::metal {
namespace {

namespace tok = clang::tok;

constexpr std::size_t mostTokens = 4'000'000;
constexpr std::size_t mostBytes = 64'000'000;
/// Evaluating a condition (#if) recurses over its tokens.
constexpr std::size_t mostTokensInConditions = 50'000;
/// Expanding the arguments of a macro recurses.
constexpr unsigned deepest = 2'000;

bool is(llvm::ArrayRef<clang::Token> tokens, std::size_t i, tok::TokenKind kind) {
    return i < tokens.size() && tokens[i].is(kind);
}

} // namespace

MacroLimit::Amount& MacroLimit::Amount::operator+=(const Amount& other) {
    tokens += other.tokens;
    bytes += other.bytes;
    return *this;
}

MacroLimit::Amount MacroLimit::amountOf(const clang::Token& token) {
    return {1, token.isAnnotation() ? 0 : token.getLength()};
}

void MacroLimit::MacroExpands(const clang::Token&, const clang::MacroDefinition& definition,
                              clang::SourceRange range, const clang::MacroArgs* arguments) {
    const clang::MacroInfo* macro = definition.getMacroInfo();
    if (macro == nullptr)
        return;
    if (!m_stopped) {
        ++m_depth;
        // Expanded arguments are kept, so that Clang need not do it once more. It is only said to
        // be constant.
        Expansion expansion{*macro, const_cast<clang::MacroArgs*>(arguments), {}};
        const Amount amount = amountOf(expansion);
        --m_depth;
        const char* fault = m_stopped ? nullptr : faultOf(amount); // it may be in an argument
        if (fault != nullptr) {
            m_stopped = true;
            stop(m_preprocessor.getDiagnostics(), range.getBegin(), fault);
            emptyAllMacros(range.getBegin());
        }
        if (m_stopped)
            empty(expansion);
    }
}

void MacroLimit::emptyAllMacros(clang::SourceLocation location) {
    llvm::SmallVector<clang::IdentifierInfo*> names;
    for (const auto& [name, state] : m_preprocessor.macros(false))
        names.push_back(const_cast<clang::IdentifierInfo*>(name));
    for (clang::IdentifierInfo* name : names)
        if (const auto* macro = m_preprocessor.getMacroInfo(name);
            macro != nullptr && !macro->isBuiltinMacro())
            m_preprocessor.appendDefMacroDirective(name,
                                                   m_preprocessor.AllocateMacroInfo(location));
}

/// Clang goes on with this one whatever we say, but it reads the arguments from here.
void MacroLimit::empty(const Expansion& expansion) {
    for (const unsigned number : expansion.expandedArguments) {
        const auto& kept = expansion.arguments->getPreExpArgument(number, m_preprocessor);
        auto& tokens = const_cast<std::vector<clang::Token>&>(kept);
        tokens.erase(tokens.begin(), tokens.end() - 1); // the last one marks the end
    }
}

const char* MacroLimit::faultOf(const Amount& amount) {
    m_produced += amount;
    if (m_preprocessor.isParsingIfOrElifDirective())
        m_producedInConditions += amount;
    if (m_produced.tokens > mostTokens || m_produced.bytes > mostBytes ||
        m_producedInConditions.tokens > mostTokensInConditions)
        return "macros expand to too much";
    if (m_depth > deepest)
        return "macros nest too deep";
    if (++m_expansions % 64 == 0 && m_isLate())
        return "program takes too long to compile";
    return nullptr;
}

/// The arguments as they are written count, too, because the preprocessor reads them once more.
MacroLimit::Amount MacroLimit::amountOf(Expansion& expansion) {
    const llvm::ArrayRef<clang::Token> body = expansion.macro.tokens();
    const unsigned count =
        expansion.arguments != nullptr ? expansion.arguments->getNumMacroArguments() : 0;
    Amount sum;
    for (unsigned number = 0; number < count; ++number)
        sum += written(*expansion.arguments, number);
    for (std::size_t i = 0; i < body.size() && m_depth <= deepest && !m_stopped; ++i) {
        const clang::IdentifierInfo* name = body[i].getIdentifierInfo();
        const int parameter =
            name != nullptr && count > 0 ? expansion.macro.getParameterNum(name) : -1;
        if (parameter < 0 || unsigned(parameter) >= count)
            sum += amountOf(body[i]);
        else if (i > 0 && body[i - 1].is(tok::hash))
            sum += quoted(written(*expansion.arguments, unsigned(parameter)));
        else if ((i > 0 && body[i - 1].is(tok::hashhash)) || is(body, i + 1, tok::hashhash))
            sum += written(*expansion.arguments, unsigned(parameter));
        else
            sum += expanded(expansion, unsigned(parameter));
    }
    return sum;
}

MacroLimit::Amount MacroLimit::written(const clang::MacroArgs& arguments, unsigned number) {
    Amount sum;
    for (const clang::Token* token = arguments.getUnexpArgument(number); token->isNot(tok::eof);
         ++token)
        sum += amountOf(*token);
    return sum;
}

/// Making a text of tokens moves all that follows a quotation mark or backslash, for each of them.
MacroLimit::Amount MacroLimit::quoted(const Amount& amount) {
    return {1, 2 * amount.bytes + amount.bytes * amount.bytes / 64};
}

MacroLimit::Amount MacroLimit::expanded(Expansion& expansion, unsigned number) {
    clang::MacroArgs& arguments = *expansion.arguments;
    if (!arguments.ArgNeedsPreexpansion(arguments.getUnexpArgument(number), m_preprocessor))
        return written(arguments, number);
    const auto& tokens = arguments.getPreExpArgument(number, m_preprocessor);
    if (!llvm::is_contained(expansion.expandedArguments, number))
        expansion.expandedArguments.push_back(number);
    Amount sum;
    for (const clang::Token& token : tokens)
        sum += amountOf(token);
    return sum;
}

} // namespace compute::metal
