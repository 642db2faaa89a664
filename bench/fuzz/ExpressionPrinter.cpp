// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "bench/fuzz/ExpressionPrinter.h"

#include "bench/fuzz/Library.h"
#include "bench/fuzz/Printer.h"
#include "bench/fuzz/TypeText.h"

#include <cstdio>
#include <limits>

namespace fuzz {
namespace {

std::string lanes(const Expr& e) {
    std::string result = ".";
    for (const unsigned lane : e.lanes)
        result += "xyzw"[lane];
    return result;
}

} // namespace

std::string ExpressionPrinter::name(Type type) const {
    return nameOf(type, m_function);
}

std::string ExpressionPrinter::literal(const Expr& e) const {
    if (!e.type.isNumbers())
        return name(e.type) + "{}";
    if (e.type.scalar == Scalar::Bool)
        return name(e.type) + (e.integer != 0 ? "(true)" : "(false)");
    char text[64];
    if (isFloating(e.type.scalar))
        std::snprintf(text, sizeof text, "%.9g", e.number);
    else if (isSigned(e.type.scalar) && e.integer != std::numeric_limits<std::int64_t>::min())
        std::snprintf(text, sizeof text, "%lld", static_cast<long long>(e.integer));
    else if (bytesOf(e.type.scalar) == 8)
        std::snprintf(text, sizeof text, "0x%llxul", static_cast<unsigned long long>(e.integer));
    else
        std::snprintf(text, sizeof text, e.integer < 1000 ? "%llu" : "0x%llx",
                      static_cast<unsigned long long>(e.integer));
    return name(e.type) + "(" + text + ")";
}

/// C++ computes with narrow integers in int.
std::string ExpressionPrinter::narrowed(const Expr& e, const std::string& expression) const {
    const bool mayBeNarrow = bytesOf(e.type.scalar) < 4 || isParameter(e.type, m_function);
    const bool isNarrow = e.type.isNumbers() && isInteger(e.type.scalar) && mayBeNarrow;
    return (isNarrow && e.type.lanes == 1 ? name(e.type) : "") + "(" + expression + ")";
}

std::string ExpressionPrinter::address(const Expr& place) const {
    return (place.type.isCopyable() || place.op == Op::Slice ? "&" : "") + text(place);
}

std::string ExpressionPrinter::list(const std::vector<Expr>& args, const char* brackets) const {
    std::string result(1, brackets[0]);
    for (const Expr& e : args)
        result += (result.size() > 1 ? ", " : "") + text(e);
    return result + brackets[1];
}

std::string ExpressionPrinter::place(const Expr& e) const {
    const Variable& v = m_function.variables[e.which];
    const std::string text = variableName(m_function, e.which);
    return v.form == Form::Pointer && v.type.isCopyable() ? "(*" + text + ")" : text;
}

std::string ExpressionPrinter::element(const Expr& e) const {
    const Expr& whole = e.args[0];
    const std::string at = text(e.args[1]);
    const Variable* v = whole.op == Op::Place ? &m_function.variables[whole.which] : nullptr;
    if (v == nullptr || v->form != Form::Output)
        return text(whole) + "[" + at + "]";
    return text(whole) + (isThreadMajor(whole.which)
                              ? "[self * " + std::to_string(v->type.count()) + " + " + at + "]"
                              : "[self + threads * " + at + "]");
}

/// A T[N] exists as part of a structure only.
std::string ExpressionPrinter::make(const Expr& e) const {
    if (!e.type.isCopyable())
        return list(e.args, "{}");
    const bool isList = e.type.isArray() || e.type.isStructure();
    return name(e.type) + list(e.args, isList ? "{}" : "()");
}

std::string ExpressionPrinter::input(const std::string& buffer, const Expr& at,
                                     bool isWithin) const {
    const std::string wrap = isWithin ? "" : " & " + std::to_string(inputCount - 1);
    return buffer + "[" + text(at) + wrap + "]";
}

std::string ExpressionPrinter::peek(const Expr& e) const {
    const std::string at = "(own + " + text(e.args[0]) + ")";
    if (e.integer == 1)
        return "uint(*" + at + ")";
    return e.which != 0 ? "(*(device const uint*)" + at + ")" : "peek4" + at;
}

std::string ExpressionPrinter::binary(const Expr& e, const char* symbol) const {
    return text(e.args[0]) + " " + symbol + " " + text(e.args[1]);
}

/// Some return an unsigned number.
std::string ExpressionPrinter::integer(const Expr& e) const {
    const std::string text = integerFunctions()[e.which].name + list(e.args);
    return text.starts_with("abs") ? name(e.type) + "(" + text + ")" : text;
}

std::string ExpressionPrinter::choice(const Expr& e) const {
    const auto& a = e.args;
    if (a[0].type.lanes > 1)
        return "select(" + text(a[2]) + ", " + text(a[1]) + ", " + text(a[0]) + ")";
    return "(" + text(a[0]) + " ? " + text(a[1]) + " : " + text(a[2]) + ")";
}

std::string ExpressionPrinter::text(const Expr& e) const {
    static constexpr const char* threadNames[] = {"thread_x", "thread_y", "grid_x", "grid_y"};
    switch (e.op) {
    case Op::Literal:
        return literal(e);
    case Op::Thread:
        return threadNames[e.which];
    case Op::Place:
        return place(e);
    case Op::Input:
        return input("in" + std::to_string(e.which), e.args[0], e.integer != 0);
    case Op::Pick:
        return input("(" + text(e.args[0]) + " ? in0 : in1)", e.args[1], false);
    case Op::Table:
        return (isFloating(e.type.scalar) ? "numbers[" : "integers[") + text(e.args[0]) + "]";
    case Op::Peek:
        return peek(e);
    case Op::Unary:
        return narrowed(e, unaryOperators[e.which] + ("(" + text(e.args[0]) + ")"));
    case Op::Binary:
        return narrowed(e, binary(e, binaryOperators[e.which]));
    case Op::Compare:
        return "(" + binary(e, compareOperators[e.which]) + ")";
    case Op::Logic:
        return "(" + binary(e, logicOperators[e.which]) + ")";
    case Op::Choose:
        return choice(e);
    case Op::Element:
    case Op::Slice:
        return element(e);
    case Op::Field:
        return text(e.args[0]) + "." + fieldName(e.which);
    case Op::Make:
        return make(e);
    case Op::Transpose:
        return "transpose" + list(e.args);
    case Op::Determinant:
        return "determinant" + list(e.args);
    case Op::Convert:
        return name(e.type) + list(e.args);
    case Op::Bits:
        return "as_type<" + name(e.type) + ">" + list(e.args);
    case Op::Swizzle:
        return text(e.args[0]) + lanes(e);
    case Op::Integer:
        return integer(e);
    case Op::Exact:
        return exactFunctions()[e.which].name + list(e.args);
    case Op::Rough:
        return roughFunctions()[e.which].name + list(e.args);
    case Op::Geometry:
        return geometryFunctions()[e.which].name + list(e.args);
    case Op::Call:
        return functionName(m_program, e.which) + list(e.args);
    case Op::Texel:
        return "uint4(image.read(uint2" + list(e.args) + ") * 255.0 + 0.5)";
    case Op::Sample:
        return "image.sample(linearly, float2" + list(e.args) + ")";
    }
    return {};
}

} // namespace fuzz
