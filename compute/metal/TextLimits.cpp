// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/metal/TextLimits.h"

#include <clang/Lex/Lexer.h>

namespace compute::metal {
namespace {

/// Far more than anybody types; a song or picture packed into a table still fits.
constexpr std::size_t largestSource = 4'000'000;
/// Reading a character recurses over the line ends before it that are escaped.
constexpr std::size_t mostEscapedLineEnds = 50'000;
/// Evaluating a condition (#if) recurses over its tokens.
constexpr std::size_t mostTokensOfCondition = 50'000;

/// Line ends that follow each other and have a backslash each, with white space in between at most.
bool escapesTooManyLineEnds(std::string_view source) {
    std::size_t run = 0;
    bool escaped = false;
    for (const char c : source) {
        if (c == '\n' && escaped) {
            escaped = false;
            if (++run > mostEscapedLineEnds)
                return true;
        } else if (c == '\\') {
            escaped = true;
        } else if (c != ' ' && c != '\t' && c != '\r' && c != '\f' && c != '\v') {
            escaped = false;
            run = 0;
        }
    }
    return false;
}

clang::LangOptions lexing() {
    clang::LangOptions options;
    options.CPlusPlus = options.CPlusPlus11 = options.CPlusPlus17 = true;
    options.LineComment = options.RawStringLiterals = options.Digraphs = true;
    return options;
}

/// Roughly: the names of files that are looked for may hide some of the text from this.
bool hasTooLongCondition(std::string_view source) {
    if (source.size() <= mostTokensOfCondition)
        return false;
    const std::string text(source); // closed by a zero
    const clang::LangOptions options = lexing();
    clang::Lexer lexer(clang::SourceLocation(), options, text.data(), text.data(),
                       text.data() + text.size());
    enum class Line { Other, Directive, Condition } line = Line::Other;
    std::size_t tokens = 0;
    for (clang::Token token; !lexer.LexFromRawLexer(token);) {
        if (token.isAtStartOfLine()) {
            line = token.is(clang::tok::hash) ? Line::Directive : Line::Other;
            tokens = 0;
        } else if (line == Line::Directive && tokens == 1) {
            const bool isWord = token.is(clang::tok::raw_identifier) && !token.needsCleaning();
            const llvm::StringRef word = isWord ? token.getRawIdentifier() : llvm::StringRef("if");
            line = word == "if" || word == "elif" ? Line::Condition : Line::Other;
        }
        if (++tokens > mostTokensOfCondition && line == Line::Condition)
            return true;
    }
    return false;
}

} // namespace

std::optional<std::string> findTextFault(std::string_view source) {
    if (source.size() > largestSource)
        return "program of " + std::to_string(source.size()) + " bytes is larger than " +
               std::to_string(largestSource) + " bytes";
    if (escapesTooManyLineEnds(source))
        return "too many line ends are escaped";
    if (hasTooLongCondition(source))
        return "condition is too long";
    return std::nullopt;
}

} // namespace compute::metal
