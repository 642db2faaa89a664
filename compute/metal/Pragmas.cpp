// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/metal/Pragmas.h"

#include "compute/metal/Stop.h"

#include <clang/Lex/PPCallbacks.h>
#include <clang/Lex/Preprocessor.h>

#include <algorithm>
#include <array>
#include <string_view>

namespace compute::metal {
namespace {

enum class Treatment { Allow, Refuse };

/// The first words of a pragma. A rule of fewer than three words is for all that begin with them.
struct Rule {
    std::array<std::string_view, 3> words;
    Treatment treatment;
};

/// Before you add a rule, read what Clang does with everything that may follow its words.
constexpr Rule rules[] = {
    {{"once"}, Treatment::Allow},
    {{"message"}, Treatment::Allow},
    {{"mark"}, Treatment::Allow},
    {{"region"}, Treatment::Allow},
    {{"endregion"}, Treatment::Allow},
    {{"unused"}, Treatment::Allow},
    {{"pack"}, Treatment::Allow},
    {{"push_macro"}, Treatment::Allow},
    {{"pop_macro"}, Treatment::Allow},
    {{"unroll"}, Treatment::Allow},
    {{"nounroll"}, Treatment::Allow},
    {{"GCC", "diagnostic"}, Treatment::Allow},
    {{"GCC", "error"}, Treatment::Allow},
    {{"GCC", "poison"}, Treatment::Allow},
    {{"GCC", "warning"}, Treatment::Allow},
    {{"STDC", "FP_CONTRACT"}, Treatment::Allow},
    {{"clang", "diagnostic"}, Treatment::Allow},
    {{"clang", "fp", "contract"}, Treatment::Allow},
    {{"clang", "fp", "reassociate"}, Treatment::Allow},
    {{"clang", "fp", "reciprocal"}, Treatment::Allow},
    {{"clang", "loop"}, Treatment::Allow},
    {{"clang", "poison"}, Treatment::Allow},
    {{"clang", "__debug"}, Treatment::Refuse},   // crashes, dumps, endless recursion
    {{"clang", "attribute"}, Treatment::Refuse}, // whatever Restrictions.h would have to know
    {{"clang", "module"}, Treatment::Refuse},    // another compiler within this one, without limits
};

using Words = std::array<std::string_view, 3>;

/// Of the line that the preprocessor is about to read. A word that is written in pieces, across
/// lines, is none that anybody knows.
Words upcomingWords(const clang::Preprocessor& preprocessor) {
    const auto& lexer = static_cast<const clang::Lexer&>(*preprocessor.getCurrentLexer());
    const llvm::StringRef text = lexer.getBuffer();
    clang::Lexer raw(clang::SourceLocation(), preprocessor.getLangOpts(), text.begin(),
                     lexer.getBufferLocation(), text.end());
    Words words;
    for (std::size_t i = 0; i < words.size(); ++i) {
        clang::Token token;
        raw.LexFromRawLexer(token);
        if (token.isNot(clang::tok::raw_identifier) || (i > 0 && token.isAtStartOfLine()))
            break;
        const llvm::StringRef word = token.getRawIdentifier();
        words[i] = {word.data(), word.size()};
    }
    return words;
}

bool appliesTo(const Rule& rule, const Words& words) {
    return std::ranges::equal(rule.words, words, [](std::string_view ruled, std::string_view word) {
        return ruled.empty() || ruled == word;
    });
}

class PragmaGuard final : public clang::PPCallbacks {
public:
    explicit PragmaGuard(clang::Preprocessor& preprocessor) : m_preprocessor(preprocessor) {}

    void PragmaDirective(clang::SourceLocation location,
                         clang::PragmaIntroducerKind kind) override {
        m_preprocessor.setPragmasEnabled(true);
        if (kind == clang::PIK_HashPragma && !isInProgram(location))
            return;
        const Words words = upcomingWords(m_preprocessor);
        const auto rule = std::ranges::find_if(
            rules, [&](const Rule& candidate) { return appliesTo(candidate, words); });
        const bool known = rule != std::end(rules);
        if (known && rule->treatment == Treatment::Allow)
            return;
        if (known)
            stop(m_preprocessor.getDiagnostics(), location,
                 "'#pragma " + std::string(words[0]) + " " + std::string(words[1]) +
                     "' is not supported in this language");
        // Until the next one is met, so that nobody gets to see this one.
        m_preprocessor.DiscardUntilEndOfDirective();
        m_preprocessor.setPragmasEnabled(false);
    }

private:
    bool isInProgram(clang::SourceLocation location) const {
        const clang::SourceManager& sources = m_preprocessor.getSourceManager();
        return sources.getFileID(location) == sources.getMainFileID();
    }

    clang::Preprocessor& m_preprocessor;
};

/// Whether the text goes on with the word, behind blanks; then it is taken away.
bool take(llvm::StringRef& text, llvm::StringRef word) {
    text = text.ltrim(" \t");
    return text.consume_front(word);
}

/// "METAL fp ..." as Clang says it; empty for what is no pragma about numbers.
std::string mathSetting(llvm::StringRef text) {
    if (!take(text, "METAL") || !take(text, "fp"))
        return {};
    const bool isMode = take(text, "math_mode");
    if (!isMode && !take(text, "contract"))
        return {};
    if (!take(text, "("))
        return {};
    const llvm::StringRef value = text.split(')').first.trim(" \t");
    if (isMode && value == "safe")
        return "clang fp reassociate(off) reciprocal(off)";
    if (isMode && (value == "relaxed" || value == "fast"))
        return "clang fp reassociate(on) reciprocal(on)";
    if (!isMode && (value == "off" || value == "on" || value == "fast"))
        return ("clang fp contract(" + value + ")").str();
    return {};
}

/// A line with what it says about numbers translated.
std::string translateLine(llvm::StringRef line) {
    llvm::StringRef rest = line;
    if (take(rest, "#") && take(rest, "pragma")) {
        const std::string setting = mathSetting(rest);
        return setting.empty() ? line.str() : "#pragma " + setting;
    }
    std::string result;
    for (rest = line; !rest.empty();) {
        const std::size_t operation = rest.find("_Pragma");
        result += rest.take_front(operation);
        rest = rest.substr(operation);
        const llvm::StringRef whole = rest;
        if (!take(rest, "_Pragma") || !take(rest, "(") || !take(rest, "\""))
            rest = {};
        const auto [text, behind] = rest.split('"');
        const std::string setting = mathSetting(text);
        const std::size_t length = whole.size() - behind.size();
        result += setting.empty() ? whole.take_front(length).str() : "_Pragma(\"" + setting + '"';
        rest = behind;
    }
    return result;
}

} // namespace

std::string translateMathPragmas(std::string_view source) {
    std::string result;
    result.reserve(source.size());
    for (llvm::StringRef rest(source); !rest.empty();) {
        const std::size_t length = std::min(rest.find('\n'), rest.size());
        const llvm::StringRef line = rest.take_front(length);
        result += line.contains("METAL") ? translateLine(line) : line.str();
        if (length < rest.size())
            result += '\n';
        rest = rest.drop_front(std::min(length + 1, rest.size()));
    }
    return result;
}

void guardPragmas(clang::Preprocessor& preprocessor) {
    preprocessor.addPPCallbacks(std::make_unique<PragmaGuard>(preprocessor));
}

} // namespace compute::metal
