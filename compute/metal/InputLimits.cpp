// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/metal/InputLimits.h"

#include "compute/metal/NestingGauge.h"

#include <clang/Basic/DiagnosticLex.h>
#include <clang/Lex/MacroArgs.h>
#include <clang/Lex/MacroInfo.h>
#include <clang/Lex/PPCallbacks.h>
#include <clang/Lex/Preprocessor.h>
#include <clang/Sema/Sema.h>
#include <clang/Sema/TemplateInstCallback.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <string>
#include <vector>

namespace compute::metal {
namespace {

/// Of this thread's own work: on a busy machine a good program may wait for long.
std::chrono::nanoseconds processorTime() {
    timespec time{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

constexpr std::size_t mostTokens = 4'000'000;
constexpr double mostMacroTokens = 4'000'000;
constexpr std::size_t mostTemplates = 100'000;
/// Every operator between vectors tries out all its templates: some hundred a line.
constexpr std::size_t mostTrials = 2'000'000;
constexpr auto longestTime = std::chrono::seconds(5);

/// Of a compilation, from now on.
class TimeLimit {
public:
    explicit TimeLimit(const std::stop_token& stop) : m_stop(stop) {}
    bool isOver() const { return m_stop.stop_requested() || processorTime() > m_deadline; }

private:
    std::stop_token m_stop;
    std::chrono::nanoseconds m_deadline = processorTime() + longestTime;
};

/// Reports why the compilation ends. Clang stops instantiating templates only after an error of its
/// own that is fatal, so this borrows the one that #error prints.
void stop(clang::DiagnosticsEngine& diagnostics, clang::SourceLocation location,
          const char* reason) {
    diagnostics.setSeverity(clang::diag::err_pp_hash_error, clang::diag::Severity::Fatal, {});
    diagnostics.Report(location, clang::diag::err_pp_hash_error)
        << (std::string(reason) + "; compilation stopped");
}

class TokenLimit {
public:
    TokenLimit(clang::Preprocessor& preprocessor, const std::stop_token& stop)
        : m_preprocessor(preprocessor), m_time(stop) {}

    void operator()(const clang::Token& token) {
        if (m_stopped || token.isAnnotation())
            return;
        ++m_tokens;
        if (const char* fault = m_nesting.accept(token))
            end(token, fault);
        else if (m_tokens > mostTokens)
            end(token, "program is too large");
        else if (m_tokens % 16 == 0 && m_time.isOver())
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
    TimeLimit m_time;
    bool m_stopped = false;
};

/// How many times over a function-like macro repeats its argument, its own macros included.
class MacroGrowth {
public:
    explicit MacroGrowth(const clang::Preprocessor& preprocessor) : m_preprocessor(preprocessor) {}

    /// The tokens that `tokens` may become, roughly and from above. With `macro`, what counts are
    /// only the places where its body names a parameter.
    double estimate(llvm::ArrayRef<clang::Token> tokens, const clang::MacroInfo* macro = nullptr,
                    unsigned depth = 0) const {
        std::vector<double> factors{1};
        double sum = 0;
        for (std::size_t i = 0; i < tokens.size() && tokens[i].isNot(clang::tok::eof); ++i) {
            const clang::IdentifierInfo* name = tokens[i].getIdentifierInfo();
            if (tokens[i].is(clang::tok::l_paren)) {
                const auto* called = i > 0 ? tokens[i - 1].getIdentifierInfo() : nullptr;
                factors.push_back(factors.back() * growth(called, depth));
            } else if (tokens[i].is(clang::tok::r_paren) && factors.size() > 1) {
                factors.pop_back();
            } else if (macro == nullptr || (name != nullptr && macro->getParameterNum(name) >= 0)) {
                sum += factors.back();
            }
        }
        return sum;
    }

private:
    static constexpr unsigned deepest = 24;

    double growth(const clang::IdentifierInfo* name, unsigned depth) const {
        const clang::MacroInfo* macro =
            name != nullptr ? m_preprocessor.getMacroInfo(name) : nullptr;
        if (macro == nullptr || !macro->isFunctionLike() || depth >= deepest)
            return 1;
        return std::max(1.0, estimate(macro->tokens(), macro, depth + 1));
    }

    const clang::Preprocessor& m_preprocessor;
};

/// Counts what macros produce. Beyond the limit every macro becomes empty when it is next met,
/// which ends even an expansion that would double forever.
class MacroLimit final : public clang::PPCallbacks {
public:
    explicit MacroLimit(clang::Preprocessor& preprocessor) : m_preprocessor(preprocessor) {}

    void MacroExpands(const clang::Token& name, const clang::MacroDefinition& definition,
                      clang::SourceRange range, const clang::MacroArgs* arguments) override {
        if (const clang::MacroInfo* macro = definition.getMacroInfo())
            m_produced += double(macro->getNumTokens()) + 1 + grown(arguments);
        if (m_produced <= mostMacroTokens)
            return;
        if (!m_stopped)
            stop(m_preprocessor.getDiagnostics(), range.getBegin(), "macros expand to too much");
        m_stopped = true;
        m_preprocessor.appendDefMacroDirective(name.getIdentifierInfo(),
                                               m_preprocessor.AllocateMacroInfo(range.getBegin()));
    }

private:
    double grown(const clang::MacroArgs* arguments) const {
        double sum = 0;
        for (unsigned i = 0; arguments != nullptr && i < arguments->getNumMacroArguments(); ++i) {
            const clang::Token* first = arguments->getUnexpArgument(i);
            const unsigned length = clang::MacroArgs::getArgLength(first);
            sum += MacroGrowth(m_preprocessor).estimate({first, length});
        }
        return sum;
    }

    clang::Preprocessor& m_preprocessor;
    double m_produced = 0;
    bool m_stopped = false;
};

class TemplateLimit final : public clang::TemplateInstantiationCallback {
public:
    explicit TemplateLimit(const std::stop_token& stop) : m_time(stop) {}

    void initialize(const clang::Sema&) override {}
    void finalize(const clang::Sema&) override {}
    void atTemplateEnd(const clang::Sema&, const clang::Sema::CodeSynthesisContext&) override {}

    void atTemplateBegin(const clang::Sema& sema,
                         const clang::Sema::CodeSynthesisContext& context) override {
        const bool isTrial =
            context.Kind != clang::Sema::CodeSynthesisContext::TemplateInstantiation;
        ++(isTrial ? m_trials : m_templates);
        const bool late = (m_trials + m_templates) % 64 == 0 && m_time.isOver();
        if (m_stopped || (m_templates <= mostTemplates && m_trials <= mostTrials && !late))
            return;
        m_stopped = true;
        stop(sema.Diags, context.PointOfInstantiation,
             late ? "program takes too long to compile"
                  : "program instantiates too many templates");
    }

private:
    std::size_t m_templates = 0;
    std::size_t m_trials = 0;
    TimeLimit m_time;
    bool m_stopped = false;
};

} // namespace

void limitInput(clang::Preprocessor& preprocessor, const std::stop_token& stop) {
    preprocessor.setTokenWatcher(TokenLimit(preprocessor, stop));
    preprocessor.addPPCallbacks(std::make_unique<MacroLimit>(preprocessor));
}

void limitTemplates(clang::Sema& sema, const std::stop_token& stop) {
    sema.TemplateInstCallbacks.push_back(std::make_unique<TemplateLimit>(stop));
}

} // namespace compute::metal
