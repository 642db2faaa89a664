// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// `template [[host_name("x")]] [[kernel]] void f<float>(...)`: Clang reads no attributes there, but
// it does read __declspec(...), so the brackets turn into that.
#pragma once

#include <llvm/ADT/StringRef.h>

namespace clang {
class Preprocessor;
class Token;
} // namespace clang

namespace compute::metal {

class InstantiationAttributes {
public:
    /// An attribute without a meaning: a word to put where there are two tokens and one is enough.
    static constexpr llvm::StringLiteral filler = "__sl42_filler";

    explicit InstantiationAttributes(clang::Preprocessor& preprocessor)
        : m_preprocessor(preprocessor) {}

    /// Sees each token of the text before the parser does, and changes it.
    void watch(clang::Token& token);

private:
    enum class Place { Elsewhere, AfterTemplate, Opening, Inside, Closing };

    Place next(clang::Token& token);

    clang::Preprocessor& m_preprocessor;
    Place m_place = Place::Elsewhere;
    unsigned m_depth = 0;
};

} // namespace compute::metal
