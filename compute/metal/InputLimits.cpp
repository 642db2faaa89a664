// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/metal/InputLimits.h"

#include <clang/Lex/MacroArgs.h>
#include <clang/Lex/MacroInfo.h>
#include <clang/Lex/PPCallbacks.h>
#include <clang/Lex/Preprocessor.h>
#include <clang/Sema/Sema.h>
#include <clang/Sema/TemplateInstCallback.h>

#include <chrono>
#include <vector>

namespace compute::metal {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t mostTokens = 4'000'000;
constexpr std::size_t mostMacroTokens = 4'000'000;
constexpr std::size_t mostTemplates = 200'000;
constexpr auto longestTime = std::chrono::seconds(8);

/// The parser and code generation recurse once for each operator of an expression and each branch
/// of an else-if chain. These depths fit the stack that a compilation gets with room to spare.
constexpr unsigned longestStatement = 16'000;
constexpr unsigned longestElseChain = 4'000;

/// Measures how deep the parser would have to recurse, from the tokens alone.
class NestingGauge {
public:
    /// False once the text nests too deep.
    bool accept(const clang::Token& token) {
        using namespace clang;
        ++m_sinceBreak;
        const bool ended = m_previous == tok::semi || m_previous == tok::r_brace;
        if (token.is(tok::kw_else))
            ++m_elseChain;
        else if (ended && token.isNot(tok::r_brace))
            m_elseChain = 0;
        trackBrackets(token.getKind());
        m_previous = token.getKind();
        return m_sinceBreak <= longestStatement && m_elseChain <= longestElseChain;
    }

private:
    enum class Bracket : bool { Block, List };

    void trackBrackets(clang::tok::TokenKind kind) {
        using namespace clang;
        if (kind == tok::l_brace) {
            m_brackets.push_back(opensList() ? Bracket::List : Bracket::Block);
            m_sinceBreak = 0;
        } else if (kind == tok::l_paren || kind == tok::l_square) {
            ++m_parentheses;
        } else if (kind == tok::r_paren || kind == tok::r_square) {
            m_parentheses -= m_parentheses > 0 ? 1 : 0;
        } else if (kind == tok::r_brace) {
            if (!m_brackets.empty())
                m_brackets.pop_back();
            m_sinceBreak = 0;
        } else if (kind == tok::semi && m_parentheses == 0) {
            m_sinceBreak = 0;
        } else if (kind == tok::comma && !m_brackets.empty() &&
                   m_brackets.back() == Bracket::List) {
            m_sinceBreak = 0; // the values of a long table stand side by side
        }
    }

    /// Whether a brace after the previous token opens a list of values and not a block.
    bool opensList() const {
        using namespace clang;
        switch (m_previous) {
        case tok::equal:
        case tok::comma:
        case tok::l_paren:
        case tok::r_square:
        case tok::identifier:
        case tok::greater:
        case tok::kw_return:
            return true;
        case tok::l_brace:
            return m_brackets.size() > 1 && m_brackets[m_brackets.size() - 2] == Bracket::List;
        default:
            return false;
        }
    }

    std::vector<Bracket> m_brackets;
    unsigned m_parentheses = 0;
    unsigned m_sinceBreak = 0;
    unsigned m_elseChain = 0;
    clang::tok::TokenKind m_previous = clang::tok::unknown;
};

/// Reports why the compilation ends, as an error after which Clang stops looking further.
void stop(clang::DiagnosticsEngine& diagnostics, clang::SourceLocation location,
          const char* reason) {
    const unsigned id =
        diagnostics.getCustomDiagID(clang::DiagnosticsEngine::Fatal, "%0; compilation stopped");
    diagnostics.Report(location, id) << reason;
}

class TokenLimit {
public:
    explicit TokenLimit(clang::Preprocessor& preprocessor) : m_preprocessor(preprocessor) {}

    void operator()(const clang::Token& token) {
        if (m_stopped || token.isAnnotation())
            return;
        ++m_tokens;
        if (!m_nesting.accept(token))
            end(token, "statement nests too deep");
        else if (m_tokens > mostTokens)
            end(token, "program is too large");
        else if (m_tokens % 256 == 0 && Clock::now() > m_deadline)
            end(token, "program takes too long to compile");
    }

private:
    void end(const clang::Token& token, const char* reason) {
        m_stopped = true;
        stop(m_preprocessor.getDiagnostics(), token.getLocation(), reason);
        m_preprocessor.SetMacroExpansionOnlyInDirectives();
        if (clang::PreprocessorLexer* lexer = m_preprocessor.getCurrentFileLexer()) {
            auto& text = static_cast<clang::Lexer&>(*lexer);
            text.seek(unsigned(text.getBuffer().size()), true);
        }
    }

    clang::Preprocessor& m_preprocessor;
    NestingGauge m_nesting;
    std::size_t m_tokens = 0;
    Clock::time_point m_deadline = Clock::now() + longestTime;
    bool m_stopped = false;
};

/// Counts what macros produce. Beyond the limit every macro becomes empty when it is next met,
/// which ends even an expansion that would double forever.
class MacroLimit final : public clang::PPCallbacks {
public:
    explicit MacroLimit(clang::Preprocessor& preprocessor) : m_preprocessor(preprocessor) {}

    void MacroExpands(const clang::Token& name, const clang::MacroDefinition& definition,
                      clang::SourceRange range, const clang::MacroArgs* arguments) override {
        if (const clang::MacroInfo* macro = definition.getMacroInfo())
            m_produced += macro->getNumTokens() + 1 + argumentTokens(arguments);
        if (m_produced <= mostMacroTokens)
            return;
        if (!m_stopped)
            stop(m_preprocessor.getDiagnostics(), range.getBegin(), "macros expand to too much");
        m_stopped = true;
        m_preprocessor.appendDefMacroDirective(name.getIdentifierInfo(),
                                               m_preprocessor.AllocateMacroInfo(range.getBegin()));
    }

private:
    static std::size_t argumentTokens(const clang::MacroArgs* arguments) {
        std::size_t sum = 0;
        for (unsigned i = 0; arguments != nullptr && i < arguments->getNumMacroArguments(); ++i)
            sum += clang::MacroArgs::getArgLength(arguments->getUnexpArgument(i));
        return sum;
    }

    clang::Preprocessor& m_preprocessor;
    std::size_t m_produced = 0;
    bool m_stopped = false;
};

class TemplateLimit final : public clang::TemplateInstantiationCallback {
public:
    void initialize(const clang::Sema&) override {}
    void finalize(const clang::Sema&) override {}
    void atTemplateEnd(const clang::Sema&, const clang::Sema::CodeSynthesisContext&) override {}

    void atTemplateBegin(const clang::Sema& sema,
                         const clang::Sema::CodeSynthesisContext& context) override {
        ++m_count;
        const bool late = m_count % 64 == 0 && Clock::now() > m_deadline;
        if (m_stopped || (m_count <= mostTemplates && !late))
            return;
        m_stopped = true;
        stop(sema.Diags, context.PointOfInstantiation,
             late ? "program takes too long to compile"
                  : "program instantiates too many templates");
    }

private:
    std::size_t m_count = 0;
    Clock::time_point m_deadline = Clock::now() + longestTime;
    bool m_stopped = false;
};

} // namespace

void limitInput(clang::Preprocessor& preprocessor) {
    preprocessor.setTokenWatcher(TokenLimit(preprocessor));
    preprocessor.addPPCallbacks(std::make_unique<MacroLimit>(preprocessor));
}

void limitTemplates(clang::Sema& sema) {
    sema.TemplateInstCallbacks.push_back(std::make_unique<TemplateLimit>());
}

} // namespace compute::metal
