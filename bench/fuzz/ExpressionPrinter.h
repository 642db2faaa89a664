// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Writes expressions as text of the shading language. Conversions are spelt out, so that the text
// means what the tree says without the promotions of C++.
#pragma once

#include "bench/fuzz/Program.h"

namespace fuzz {

class ExpressionPrinter {
public:
    ExpressionPrinter(const Program& program, const Function& function)
        : m_program(program), m_function(function) {}

    std::string text(const Expr& e) const;
    /// Of a place, as pointers are assigned it.
    std::string address(const Expr& place) const;
    /// In parentheses, or others.
    std::string list(const std::vector<Expr>& args, const char* brackets = "()") const;

private:
    std::string name(Type type) const;
    std::string narrowed(const Expr& e, const std::string& expression) const;
    std::string literal(const Expr& e) const;
    std::string place(const Expr& e) const;
    std::string element(const Expr& e) const;
    std::string make(const Expr& e) const;
    std::string peek(const Expr& e) const;
    std::string binary(const Expr& e, const char* symbol) const;
    std::string integer(const Expr& e) const;
    std::string choice(const Expr& e) const;
    std::string input(const std::string& buffer, const Expr& at, bool isWithin) const;

    const Program& m_program;
    const Function& m_function;
};

} // namespace fuzz
