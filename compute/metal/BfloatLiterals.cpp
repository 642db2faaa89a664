// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/metal/BfloatLiterals.h"

#include <clang/Lex/Preprocessor.h>

namespace compute::metal {

void readBfloatLiteral(clang::Token& token, clang::Preprocessor& preprocessor) {
    if (token.isNot(clang::tok::numeric_constant) || token.getLiteralData() == nullptr)
        return;
    llvm::StringRef digits(token.getLiteralData(), token.getLength());
    if (!digits.consume_back_insensitive("bf") || digits.starts_with_insensitive("0x"))
        return;
    // Memory that lives as long as the text does. Clang looks at the character behind the number.
    constexpr llvm::StringRef ending("us\0", 3);
    auto* spelling = static_cast<char*>(preprocessor.getPreprocessorAllocator().Allocate(
        digits.size() + ending.size(), alignof(char)));
    llvm::copy(digits, spelling);
    llvm::copy(ending, spelling + digits.size());
    token.setLiteralData(spelling);
}

} // namespace compute::metal
