// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "compute/metal/ForeignNames.h"

#include <algorithm>
#include <array>

namespace compute::metal {
namespace {

struct Name {
    std::string_view foreign;
    std::string_view ours;
};

/// One name for another.
constexpr std::array names{
    Name{"vec2", "float2"},
    Name{"vec3", "float3"},
    Name{"vec4", "float4"},
    Name{"ivec2", "int2"},
    Name{"ivec3", "int3"},
    Name{"ivec4", "int4"},
    Name{"uvec2", "uint2"},
    Name{"uvec3", "uint3"},
    Name{"uvec4", "uint4"},
    Name{"bvec2", "bool2"},
    Name{"bvec3", "bool3"},
    Name{"bvec4", "bool4"},
    Name{"mat2", "float2x2"},
    Name{"mat3", "float3x3"},
    Name{"mat4", "float4x4"},
    Name{"boolean", "bool"},
    Name{"integer", "int"},
    Name{"lerp", "mix"},
    Name{"frac", "fract"},
    Name{"mod", "fmod"},
    Name{"inversesqrt", "rsqrt"},
    Name{"dFdx", "dfdx"},
    Name{"dFdy", "dfdy"},
    Name{"ddx", "dfdx"},
    Name{"ddy", "dfdy"},
    Name{"printf", "print"},
    Name{"discard", "return"},
    Name{"elif", "else if"},
    Name{"elseif", "else if"},
    Name{"elsif", "else if"},
    Name{"True", "true"},
    Name{"False", "false"},
    Name{"PI", "M_PI_F"},
    Name{"pi", "M_PI_F"},
    Name{"M_PI", "M_PI_F"},
    Name{"TAU", "2 * M_PI_F"},
    Name{"TWO_PI", "2 * M_PI_F"},
    Name{"iTime", "time"},
    Name{"u_time", "time"},
    Name{"iResolution", "resolution"},
    Name{"u_resolution", "resolution"},
    Name{"iMouse", "mousepos()"},
    Name{"u_mouse", "mousepos()"},
    Name{"mouseX", "mousepos().x"},
    Name{"mouseY", "mousepos().y"},
    Name{"fragCoord", "coords"},
    Name{"gl_FragCoord", "coords"},
    Name{"uv", "coords / resolution"},
    Name{"width", "resolution.x"},
    Name{"height", "resolution.y"},
    Name{"circle", "circ"},
    Name{"drawCircle", "circ"},
    Name{"ellipse", "elli"},
    Name{"rectangle", "rect"},
    Name{"drawRect", "rect"},
    Name{"drawLine", "line"},
    Name{"triangle", "tri"},
    Name{"drawText", "print"},
    Name{"background", "cls"},
    Name{"clear", "cls"},
    Name{"clearScreen", "cls"},
    Name{"pset", "pix"},
    Name{"setPixel", "pix"},
    Name{"getPixel", "pix"},
    Name{"random", "randomfloat"},
    Name{"rand", "randomfloat"},
};

/// What takes more than another name.
constexpr std::array explanations{
    Name{"inout", "write a reference, as in 'thread float& x'"},
    Name{"in", "leave it out"},
    Name{"out", "write a reference, as in 'thread float& x'"},
    Name{"precision", "leave this line out"},
    Name{"highp", "leave it out"},
    Name{"mediump", "leave it out"},
    Name{"lowp", "leave it out"},
    Name{"let", "write the type, such as 'float', or 'auto'"},
    Name{"var", "write the type, such as 'float', or 'auto'"},
    Name{"number", "write 'float', or 'int' for whole numbers"},
    Name{"def", "write the type of the result, such as 'float' or 'void'"},
    Name{"func", "write the type of the result, such as 'float' or 'void'"},
    Name{"function", "write the type of the result, such as 'float' or 'void'"},
    Name{"fn", "write the type of the result, such as 'float' or 'void'"},
    Name{"string", "write 'const char*' for a text"},
    Name{"String", "write 'const char*' for a text"},
    Name{"std", "functions are called by their names alone, as in sin(x)"},
    Name{"Math", "functions are called by their names alone, as in sin(x)"},
    Name{"math", "functions are called by their names alone, as in sin(x)"},
    Name{"gl_FragColor", "draw with cls, pix and the others"},
    Name{"fragColor", "draw with cls, pix and the others"},
    Name{"uniform", "a value that changes lives in memory, with poke32 and peek32"},
    Name{"varying", "a value that changes lives in memory, with poke32 and peek32"},
    Name{"attribute", "a value that changes lives in memory, with poke32 and peek32"},
    Name{"cbuffer", "a value that changes lives in memory, with poke32 and peek32"},
    Name{"layout", "leave this line out"},
    Name{"null", "write 0, or 'nullptr' for a pointer"},
    Name{"NULL", "write 0, or 'nullptr' for a pointer"},
    Name{"nil", "write 0, or 'nullptr' for a pointer"},
    Name{"self", "members are named alone, or behind 'this->'"},
    Name{"foreach", "write 'for (float x : list)'"},
    Name{"f32", "write 'float'"},
    Name{"i32", "write 'int'"},
};

/// Where other languages keep pictures.
constexpr std::array pictures{"texture",   "texture2D",   "tex2D",      "sampler2D",
                              "Texture2D", "textureLod",  "texelFetch", "SamplerState",
                              "iChannel0", "samplerCube", "iChannel1"};

template <std::size_t size>
const Name* find(const std::array<Name, size>& table, std::string_view name) {
    const auto found = std::ranges::find(table, name, &Name::foreign);
    return found == table.end() ? nullptr : &*found;
}

} // namespace

std::optional<std::string> explainForeignName(std::string_view name) {
    const std::string noSuchName = "there is no '" + std::string(name) + "' in this language; ";
    if (const Name* known = find(names, name))
        return noSuchName + "write '" + std::string(known->ours) + "'";
    if (const Name* known = find(explanations, name))
        return noSuchName + std::string(known->ours);
    if (std::ranges::find(pictures, name) != pictures.end())
        return "there is no '" + std::string(name) +
               "' here: programs have no pictures but the last one on the screen, which lpix "
               "reads, "
               "and what they draw";
    return std::nullopt;
}

} // namespace compute::metal
