// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Programs that are nearly right: texts that were, changed in a place or two. Most do not compile;
// what does compile reaches outside of its buffers, never ends, or divides by zero.
#pragma once

#include "bench/fuzz/Random.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace mutants {

/// Words, numbers, texts, comments and signs, each with the white space before it, so that joined
/// they are the text again.
std::vector<std::string> tokensOf(std::string_view text);

/// Makes the same of the same random numbers on every machine.
class Mutator {
public:
    /// The programs from which tokens and lines are borrowed, at least one.
    explicit Mutator(std::vector<std::string> programs);

    /// One of the programs, changed in one to four places.
    std::string mutant(fuzz::Random& random) const;
    /// The text, changed in one place; one of the programs where there is nothing to change.
    std::string changed(std::string_view text, fuzz::Random& random) const;

private:
    using Tokens = std::vector<std::string>;

    std::string borrowedToken(fuzz::Random& random) const;
    std::string spliced(std::string_view text, fuzz::Random& random) const;
    static void changeMeaning(Tokens& tokens, fuzz::Random& random);
    void changeForm(Tokens& tokens, fuzz::Random& random) const;

    std::vector<std::string> m_programs;
    std::vector<Tokens> m_tokens; ///< of each
};

} // namespace mutants
