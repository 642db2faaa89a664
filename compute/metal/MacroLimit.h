// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Bounds on what macros produce: a few lines of them can stand for any number of tokens.
#pragma once

#include <clang/Lex/PPCallbacks.h>
#include <llvm/ADT/SmallVector.h>

#include <functional>

namespace clang {
class Preprocessor;
} // namespace clang

namespace compute::metal {

/// Counts what macros produce. Beyond the limit all macros become empty, which ends even an
/// expansion that would double forever.
class MacroLimit final : public clang::PPCallbacks {
public:
    /// `isLate` says whether the compilation's time is up.
    MacroLimit(clang::Preprocessor& preprocessor, std::function<bool()> isLate)
        : m_preprocessor(preprocessor), m_isLate(std::move(isLate)) {}

    void MacroExpands(const clang::Token& name, const clang::MacroDefinition& definition,
                      clang::SourceRange range, const clang::MacroArgs* arguments) override;

private:
    /// Tokens, and the characters they are written with.
    struct Amount {
        std::size_t tokens = 0;
        std::size_t bytes = 0;
        Amount& operator+=(const Amount& other);
    };

    /// One expansion of a macro.
    struct Expansion {
        const clang::MacroInfo& macro;
        clang::MacroArgs* arguments; ///< null when it has none
        llvm::SmallVector<unsigned, 8> expandedArguments;
    };

    static Amount amountOf(const clang::Token& token);
    Amount amountOf(Expansion& expansion);
    static Amount written(const clang::MacroArgs& arguments, unsigned number);
    static Amount quoted(const Amount& amount);
    Amount expanded(Expansion& expansion, unsigned number);
    void emptyAllMacros(clang::SourceLocation location);
    void empty(const Expansion& expansion);
    const char* faultOf(const Amount& amount);

    clang::Preprocessor& m_preprocessor;
    std::function<bool()> m_isLate;
    Amount m_produced;
    Amount m_producedInConditions;
    unsigned m_depth = 0; ///< of macros in arguments of macros
    unsigned m_expansions = 0;
    bool m_stopped = false;
};

} // namespace compute::metal
