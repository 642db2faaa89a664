// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/metal/Advice.h"

#include <clang/Basic/DiagnosticSema.h>

#include <array>
#include <optional>
#include <regex>
#include <string_view>

namespace compute::metal {
namespace {

struct Name {
    std::string_view foreign;
    std::string_view ours;
};

/// What other shading languages, and people in a hurry, call things.
constexpr std::array names{
    Name{"vec2", "float2"},       Name{"vec3", "float3"},      Name{"vec4", "float4"},
    Name{"ivec2", "int2"},        Name{"ivec3", "int3"},       Name{"ivec4", "int4"},
    Name{"uvec2", "uint2"},       Name{"uvec3", "uint3"},      Name{"uvec4", "uint4"},
    Name{"bvec2", "bool2"},       Name{"bvec3", "bool3"},      Name{"bvec4", "bool4"},
    Name{"mat2", "float2x2"},     Name{"mat3", "float3x3"},    Name{"mat4", "float4x4"},
    Name{"lerp", "mix"},          Name{"frac", "fract"},       Name{"mod", "fmod"},
    Name{"inversesqrt", "rsqrt"}, Name{"dFdx", "dfdx"},        Name{"dFdy", "dfdy"},
    Name{"iTime", "time"},        Name{"fragCoord", "coords"}, Name{"gl_FragCoord", "coords"},
    Name{"discard", "return"},
};

constexpr std::string_view liveInMemory =
    "; a value that changes lives in memory, with poke32 and peek32";

/// The first text in quotation marks of a kind.
std::string quotedIn(const std::string& message, char mark = '\'') {
    const auto begin = message.find(mark);
    const auto end = begin == message.npos ? begin : message.find(mark, begin + 1);
    return end == message.npos ? std::string() : message.substr(begin + 1, end - begin - 1);
}

std::string unknownName(const std::string& message) {
    const std::string name = quotedIn(message);
    for (const auto& [foreign, ours] : names)
        if (foreign == name)
            return "there is no '" + name + "' in this language; write '" + std::string(ours) + "'";
    if (name == "uniform" || name == "varying" || name == "attribute" || name == "cbuffer")
        return "there is no '" + name + "' in this language" + std::string(liveInMemory);
    if (name == "texture2D" || name == "sampler2D" || name == "texture")
        return "there is no '" + name +
               "' here: programs have no pictures but the last one on the screen and what they "
               "draw";
    if (name == "gl_FragColor" || name == "fragColor")
        return "there is no '" + name + "' in this language; draw with cls, pset and the others";
    return message;
}

std::string wrongComponents(const std::string& message) {
    static const std::regex vector(
        "'((?:float|half|int|uint|short|ushort|char|uchar|long|ulong|bool)"
        "([234]))'");
    std::smatch type;
    if (!std::regex_search(message, type, vector))
        return message;
    return "'" + type[1].str() + "' is made of one number or of parts that have " + type[2].str() +
           " components together";
}

bool hasFloat(const std::string& message) {
    return message.find("'float") != message.npos || message.find("'half") != message.npos;
}

std::string wrongOperands(const std::string& message, llvm::StringRef source) {
    if (source.starts_with("%") && hasFloat(message))
        return "'%' is for whole numbers; write fmod(a, b) for the remainder of these";
    static const std::regex matrix("'(?:float|half)([234])x([234])'");
    if (source.starts_with("*") && std::regex_search(message, matrix))
        return message + "; a matrix times a vector needs as many components as the matrix has "
                         "columns";
    return message;
}

std::string wrongCondition(const std::string& message) {
    const std::string type = quotedIn(message);
    if (!type.starts_with("bool") || type == "bool")
        return message;
    return "a condition is one bool, and this is a '" + type +
           "'; write select(b, a, condition) to choose by component, or any(...) or all(...)";
}

std::string noMember(const std::string& message) {
    static const std::regex component("no member named '([xyzwrgba]+)' in '(\\w+[234])'");
    std::smatch found;
    if (!std::regex_search(message, found, component))
        return message;
    return "a '" + found[2].str() + "' has no component '" + found[1].str() + "'";
}

} // namespace

std::string withLanguageNames(std::string message) {
    static const std::regex vector(R"((?:metal::)?vec<(?:unsigned (\w+)|(\w+)), ([234])>)");
    static const std::regex matrix(R"((?:metal::)?matrix<(\w+), ([234]), ([234])>)");
    static const std::regex mask(R"((?:metal::)?mask<\w+, ([234])>)");
    message = std::regex_replace(message, mask, "bool$1");
    message = std::regex_replace(message, matrix, "$1$2x$3");
    std::smatch found;
    while (std::regex_search(message, found, vector)) {
        const std::string element = found[1].matched ? "u" + found[1].str() : found[2].str();
        message = found.prefix().str() + element + found[3].str() + found.suffix().str();
    }
    return message;
}

std::string advise(unsigned id, const std::string& text, llvm::StringRef source) {
    std::string message = withLanguageNames(text);
    switch (id) {
    case clang::diag::err_undeclared_var_use:
    case clang::diag::err_undeclared_var_use_suggest:
    case clang::diag::err_unknown_typename:
    case clang::diag::err_unknown_typename_suggest:
        return unknownName(message);
    case clang::diag::err_ovl_ambiguous_init:
    case clang::diag::err_ovl_no_viable_function_in_init:
        return wrongComponents(message);
    case clang::diag::err_typecheck_invalid_operands:
        // A number with a point is of a type that programs cannot name.
        return wrongOperands(std::regex_replace(message, std::regex("'double'"), "'float'"),
                             source);
    case clang::diag::err_typecheck_bool_condition:
        return wrongCondition(message);
    case clang::diag::err_no_member:
        return noMember(message);
    case clang::diag::err_no_accessor_for_property:
        return "'" + quotedIn(message) +
               "' names a component twice, so nothing can be assigned to it";
    case clang::diag::err_typecheck_assign_const:
        return message + std::string(liveInMemory);
    default:
        return message;
    }
}

} // namespace compute::metal
