// SPDX-License-Identifier: MIT
// Part of Starloom 42.
#include "SL42/builder/Misuse.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace starloom {
namespace {

/// Which functions move how many bytes.
struct Access {
    std::string_view function;
    std::size_t bytes;
};
constexpr std::array accesses{Access{"8", 1}, Access{"16", 2}, Access{"32", 4}, Access{"64", 8},
                              Access{"128", 16}};

struct Type {
    std::string_view name;
    std::size_t bytes;
};
constexpr std::array types{
    Type{"float", 4}, Type{"int", 4},           Type{"uint", 4},          Type{"unsigned int", 4},
    Type{"half", 2},  Type{"short", 2},         Type{"ushort", 2},        Type{"char", 1},
    Type{"uchar", 1}, Type{"bool", 1},          Type{"unsigned char", 1}, Type{"long", 8},
    Type{"ulong", 8}, Type{"unsigned long", 8}, Type{"unsigned short", 2}};

/// Three components take the room of four.
std::optional<std::size_t> bytesOf(std::string_view type) {
    std::size_t count = 1;
    if (type.ends_with('2'))
        count = 2;
    else if (type.ends_with('3') || type.ends_with('4'))
        count = 4;
    if (count > 1)
        type.remove_suffix(1);
    const auto* known = std::ranges::find(types, type, &Type::name);
    if (known == types.end())
        return std::nullopt;
    return known->bytes * count;
}

std::string counted(std::size_t bytes) {
    return std::to_string(bytes) + (bytes == 1 ? " byte" : " bytes");
}

std::string misuse(std::string_view function, std::string_view type) {
    const std::string subject = "'" + std::string(function) + "' ";
    const auto kind = function.substr(0, 4);
    const auto* access = std::ranges::find(
        accesses, function.substr(std::min<std::size_t>(function.size(), 4)), &Access::function);
    if ((kind != "peek" && kind != "poke") || access == accesses.end())
        return subject + "cannot be used with '" + std::string(type) + "'";
    const std::string takes = subject + "is for values of " + counted(access->bytes);
    const auto bytes = bytesOf(type);
    if (!bytes)
        return takes + ", which '" + std::string(type) + "' is not";
    std::string text = takes + ", and a '" + std::string(type) + "' has " + std::to_string(*bytes);
    const auto* right = std::ranges::find(accesses, *bytes, &Access::bytes);
    if (right != accesses.end() && right != access)
        text += "; write " + std::string(kind) + std::string(right->function);
    return text;
}

} // namespace

std::optional<std::string> causeIn(std::string_view note) {
    constexpr std::string_view instantiation =
        "in instantiation of function template specialization 'SL42::";
    constexpr std::string_view declared = "' declared here";
    if (note.starts_with("'") && note.ends_with(declared))
        return std::string(note.substr(0, note.size() - declared.size())) +
               "' is a name that the console's own functions need; choose another one";
    if (!note.starts_with(instantiation))
        return std::nullopt;
    note.remove_prefix(instantiation.size());
    const auto open = note.find('<');
    const auto close = note.find(">'");
    if (open == note.npos || close == note.npos || close < open)
        return std::nullopt;
    return misuse(note.substr(0, open), note.substr(open + 1, close - open - 1));
}

} // namespace starloom
