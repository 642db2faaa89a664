// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What a person can do about an error: the compiler's message in the words of the language, and for
// mistakes that everybody makes, what to write instead.
#pragma once

#include <llvm/ADT/StringRef.h>

#include <string>

namespace compute::metal {

/// The program around the place that a message points to.
struct SourceText {
    llvm::StringRef before; ///< from the start of the line
    llvm::StringRef from;   ///< to the end of the program
};

/// `id` is Clang's number of the diagnostic, `message` its text.
std::string advise(unsigned id, const std::string& message, const SourceText& source);

/// The library's own types, as `vec<float, 2>`, by the names that programs use, as `float2`.
std::string withLanguageNames(std::string message);

} // namespace compute::metal
