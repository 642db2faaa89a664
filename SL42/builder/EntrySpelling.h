// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// What to tell the author of a program whose entry functions are not spelt as the scan looks for
// them. Such a function is quietly not run, or gets an empty one of the same name beside it.
#pragma once

#include "SL42/builder/Preprocessor.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace starloom {

/// A line for each entry function that is nearly right, and one if there is nothing at all to run;
/// empty when all is well. They read as the compiler's warnings do, and count their positions with
/// `linesBefore` lines in front of the program.
std::string entrySpellingWarnings(std::string_view source, const PreprocessedSource& found,
                                  std::size_t linesBefore);

} // namespace starloom
