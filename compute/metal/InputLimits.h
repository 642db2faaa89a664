// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Bounds on what a text can make the compiler do: how deep it nests, how much its macros produce,
// how many templates it instantiates, how long it takes. Beyond one of them a compilation ends with
// an ordinary error.
#pragma once

#include <functional>
#include <stop_token>

namespace clang {
class Preprocessor;
class Sema;
class Token;
} // namespace clang

namespace compute::metal {

/// Watches the tokens and macros of the text that `preprocessor` is about to read. Being asked to
/// stop counts as a limit reached. `watch` sees every token before the parser does, and
/// may change it.
void limitInput(clang::Preprocessor& preprocessor, const std::stop_token& stop,
                std::function<void(clang::Token&)> watch);

/// Watches the templates that `sema` instantiates, likewise.
void limitTemplates(clang::Sema& sema, const std::stop_token& stop);

} // namespace compute::metal
