// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "bench/fuzz/TypeText.h"

namespace fuzz {
namespace {

constexpr const char* scalarNames[] = {"bool", "char", "uchar", "short", "ushort", "int",
                                       "uint", "long", "ulong", "half",  "float"};

} // namespace

std::string nameOf(Type type) {
    if (type.isArray())
        return "array<" + nameOf(type.element()) + ", " + std::to_string(type.count()) + ">";
    if (type.isStructure())
        return "S" + std::to_string(type.structure);
    const std::string scalar = std::string(type.isPacked ? "packed_" : "") +
                               scalarNames[static_cast<unsigned>(type.scalar)];
    const std::string lanes = std::to_string(type.lanes);
    if (type.isMatrix())
        return scalar + std::to_string(type.columns) + "x" + lanes;
    return type.lanes > 1 ? scalar + lanes : scalar;
}

bool isParameter(Type type, const Function& function) {
    return function.generic && type.structure < 0 && type.scalar == function.generic->parameter;
}

std::string nameOf(Type type, const Function& function) {
    if (!isParameter(type, function))
        return nameOf(type);
    if (type.isArray())
        return "array<" + nameOf(type.element(), function) + ", " + std::to_string(type.count()) +
               ">";
    return type.lanes > 1 ? "vec<T, " + std::to_string(type.lanes) + ">" : "T";
}

/// A lambda's variables must not hide those that it captures.
std::string variableName(const Function& function, unsigned variable) {
    if (variable < function.captured())
        return "v" + std::to_string(function.captures[variable]);
    return (function.isLambda ? "w" : "v") + std::to_string(variable);
}

std::string functionName(const Program& program, unsigned which) {
    const auto& generic = program.functions[which].generic;
    if (!generic)
        return "f" + std::to_string(which);
    return "f" + std::to_string(generic->source) + "<" + nameOf(Type{generic->parameter}) + ">";
}

std::string fieldName(unsigned field) {
    return {static_cast<char>('a' + field)};
}

std::string declaration(const Variable& variable, const std::string& name,
                        const Function& function) {
    Type type = variable.type;
    std::string dimensions;
    for (; !type.isCopyable(); type = type.element())
        dimensions += "[" + std::to_string(type.count()) + "]";
    if (variable.form == Form::Pointer)
        return "thread " + nameOf(type, function) + "* " + name;
    if (variable.form == Form::Reference)
        return "thread " + nameOf(type, function) + (dimensions.empty() ? "& " : " (&") + name +
               (dimensions.empty() ? "" : ")") + dimensions;
    return nameOf(type, function) + " " + name + dimensions;
}

} // namespace fuzz
