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

std::string variableName(unsigned variable) {
    return "v" + std::to_string(variable);
}

std::string fieldName(unsigned field) {
    return {static_cast<char>('a' + field)};
}

std::string declaration(const Variable& variable, const std::string& name) {
    Type type = variable.type;
    std::string dimensions;
    for (; !type.isCopyable(); type = type.element())
        dimensions += "[" + std::to_string(type.count()) + "]";
    if (variable.form == Form::Pointer)
        return "thread " + nameOf(type) + "* " + name;
    if (variable.form == Form::Reference)
        return "thread " + nameOf(type) + (dimensions.empty() ? "& " : " (&") + name +
               (dimensions.empty() ? "" : ")") + dimensions;
    return nameOf(type) + " " + name + dimensions;
}

} // namespace fuzz
