// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/metal/InputLimits.h"

#include "compute/metal/MacroLimit.h"
#include "compute/metal/NestingGauge.h"
#include "compute/metal/Stop.h"

#include <clang/AST/DeclTemplate.h>
#include <clang/Lex/Preprocessor.h>
#include <clang/Sema/Sema.h>
#include <clang/Sema/TemplateInstCallback.h>

#include <chrono>
#include <ctime>

namespace compute::metal {
namespace {

/// Of this thread's own work: on a busy machine a good program may wait for long.
std::chrono::nanoseconds processorTime() {
    timespec time{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

constexpr std::size_t mostTokens = 4'000'000;
constexpr std::size_t mostTemplates = 100'000;
/// Every operator between vectors tries out all its templates: some hundred a line.
constexpr std::size_t mostTrials = 2'000'000;
constexpr std::size_t mostArguments = 10'000;
/// The service ends itself after longestCompilation (compute/service/CompileWatch.h).
constexpr auto longestTime = std::chrono::seconds(4);

/// Of a compilation, from now on.
class TimeLimit {
public:
    explicit TimeLimit(const std::stop_token& stop) : m_stop(stop) {}
    bool isOver() const { return m_stop.stop_requested() || processorTime() > m_deadline; }

private:
    std::stop_token m_stop;
    std::chrono::nanoseconds m_deadline = processorTime() + longestTime;
};

class TokenLimit {
public:
    TokenLimit(clang::Preprocessor& preprocessor, const std::stop_token& stop,
               std::function<void(clang::Token&)> watch)
        : m_preprocessor(preprocessor), m_watch(std::move(watch)), m_time(stop) {}

    void operator()(const clang::Token& token) {
        if (token.isAnnotation())
            return;
        m_watch(const_cast<clang::Token&>(token)); // which is only said to be constant
        if (!m_preprocessor.getDiagnostics().hasFatalErrorOccurred())
            check(token);
        if (!m_preprocessor.getDiagnostics().hasFatalErrorOccurred())
            return;
        if (m_tokensAfterEnd == 0)
            skipRest();
        if (++m_tokensAfterEnd > mostTokensAfterEnd)
            // However much macros have produced.
            turnIntoEnd(const_cast<clang::Token&>(token));
    }

private:
    /// What the parser has looked ahead at is left to it.
    static constexpr std::size_t mostTokensAfterEnd = 1'000;

    void check(const clang::Token& token) {
        ++m_tokens;
        if (const char* fault = m_nesting.accept(token))
            stop(m_preprocessor.getDiagnostics(), token.getLocation(), fault);
        else if (m_tokens > mostTokens)
            stop(m_preprocessor.getDiagnostics(), token.getLocation(), "program is too large");
        else if (m_tokens % 16 == 0 && m_time.isOver())
            stop(m_preprocessor.getDiagnostics(), token.getLocation(),
                 "program takes too long to compile");
    }

    /// Of the text; what macros have produced already still is read.
    void skipRest() {
        m_preprocessor.SetMacroExpansionOnlyInDirectives();
        if (clang::PreprocessorLexer* lexer = m_preprocessor.getCurrentFileLexer()) {
            auto& text = static_cast<clang::Lexer&>(*lexer);
            text.seek(unsigned(text.getBuffer().size()), true);
        }
    }

    static void turnIntoEnd(clang::Token& token) {
        const clang::SourceLocation location = token.getLocation();
        token.startToken();
        token.setKind(clang::tok::eof);
        token.setLocation(location);
    }

    clang::Preprocessor& m_preprocessor;
    std::function<void(clang::Token&)> m_watch;
    NestingGauge m_nesting;
    std::size_t m_tokens = 0;
    std::size_t m_tokensAfterEnd = 0;
    TimeLimit m_time;
};

/// Time and memory grow with the lengths of the argument lists that a template takes apart.
class ArgumentCount {
public:
    explicit ArgumentCount(std::size_t limit) : m_limit(limit) {}
    bool isOver() const { return m_count > m_limit; }

    void add(llvm::ArrayRef<clang::TemplateArgument> arguments, unsigned depth = 0) {
        m_count += arguments.size();
        for (std::size_t i = 0; i < arguments.size() && !isOver() && depth < deepest; ++i)
            add(arguments[i], depth + 1);
    }

private:
    static constexpr unsigned deepest = 4;

    void add(const clang::TemplateArgument& argument, unsigned depth) {
        if (argument.getKind() == clang::TemplateArgument::Pack)
            return add(argument.getPackAsArray(), depth);
        if (argument.getKind() != clang::TemplateArgument::Type)
            return;
        if (const auto* record = llvm::dyn_cast_or_null<clang::ClassTemplateSpecializationDecl>(
                argument.getAsType()->getAsCXXRecordDecl()))
            add(record->getTemplateArgs().asArray(), depth);
    }

    std::size_t m_limit;
    std::size_t m_count = 0;
};

bool hasTooManyArguments(const clang::Sema::CodeSynthesisContext& context) {
    ArgumentCount count(mostArguments);
    if (const auto* record =
            llvm::dyn_cast_or_null<clang::ClassTemplateSpecializationDecl>(context.Entity))
        count.add(record->getTemplateArgs().asArray());
    else if (const auto* function = llvm::dyn_cast_or_null<clang::FunctionDecl>(context.Entity);
             function != nullptr && function->getTemplateSpecializationArgs() != nullptr)
        count.add(function->getTemplateSpecializationArgs()->asArray());
    return count.isOver();
}

class TemplateLimit final : public clang::TemplateInstantiationCallback {
public:
    explicit TemplateLimit(const std::stop_token& stop) : m_time(stop) {}

    void initialize(const clang::Sema&) override {}
    void finalize(const clang::Sema&) override {}
    void atTemplateEnd(const clang::Sema&, const clang::Sema::CodeSynthesisContext&) override {}

    void atTemplateBegin(const clang::Sema& sema,
                         const clang::Sema::CodeSynthesisContext& context) override {
        if (m_stopped)
            return;
        const bool isTrial =
            context.Kind != clang::Sema::CodeSynthesisContext::TemplateInstantiation;
        ++(isTrial ? m_trials : m_templates);
        const char* fault = nullptr;
        if (m_templates > mostTemplates || m_trials > mostTrials)
            fault = "program instantiates too many templates";
        else if (!isTrial && hasTooManyArguments(context))
            fault = "template has too many arguments";
        else if ((!isTrial || m_trials % 64 == 0) && m_time.isOver())
            fault = "program takes too long to compile";
        if (fault == nullptr)
            return;
        m_stopped = true;
        stop(sema.Diags, context.PointOfInstantiation, fault);
    }

private:
    std::size_t m_templates = 0;
    std::size_t m_trials = 0;
    TimeLimit m_time;
    bool m_stopped = false;
};

} // namespace

void limitInput(clang::Preprocessor& preprocessor, const std::stop_token& stop,
                std::function<void(clang::Token&)> watch) {
    preprocessor.setTokenWatcher(TokenLimit(preprocessor, stop, std::move(watch)));
    preprocessor.addPPCallbacks(std::make_unique<MacroLimit>(
        preprocessor, [time = TimeLimit(stop)] { return time.isOver(); }));
}

void limitTemplates(clang::Sema& sema, const std::stop_token& stop) {
    sema.TemplateInstCallbacks.push_back(std::make_unique<TemplateLimit>(stop));
}

} // namespace compute::metal
